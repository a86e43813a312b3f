#include "base/Status.h"

#include <string.h>

namespace base {

std::string Status::message() const {
  if (ok()) return "ok";
  std::string text;
  if (!subject_.empty()) text = subject_ + ": ";
  text += step_;
  if (errnum_ != 0) {
    text += ": ";
    text += strerror(errnum_);
  }
  return text;
}

}  // namespace base
