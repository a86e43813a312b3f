#include "base/TextLines.h"

namespace base {

bool TextLines::next(std::string* line) {
  if (start_ >= text_.size()) return false;
  size_t end = text_.find('\n', start_);
  if (end == std::string::npos) end = text_.size();
  line->assign(text_, start_, end - start_);
  start_ = end + 1;
  ++number_;
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return true;
}

}  // namespace base
