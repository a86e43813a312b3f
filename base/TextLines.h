// The lines of a text file's contents, one at a time: '\n' ends a line, a '\r'
// before it is dropped, and a last line without '\n' still counts. The reader
// keeps a reference to the text, which must outlive it.
//
// Thread-safety: one reader per thread.
#ifndef BASE_TEXTLINES_H_
#define BASE_TEXTLINES_H_

#include <stddef.h>

#include <string>

namespace base {

class TextLines {
 public:
  explicit TextLines(const std::string& text) : text_(text) {}

  // The next line into *line; false at the end of the text.
  bool next(std::string* line);
  // Number of the line next() returned last, from 1.
  size_t number() const { return number_; }

 private:
  const std::string& text_;
  size_t start_ = 0;
  size_t number_ = 0;
};

}  // namespace base

#endif  // BASE_TEXTLINES_H_
