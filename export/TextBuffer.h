// A text built in a buffer allocated once: appending never allocates, and text
// that does not fit is dropped and remembered (overflowed()), so a caller can
// refuse to publish a cut text.
//
// Numbers are written with std::to_chars: the shortest text that reads back to
// the same double.
//
// Thread-safety: one thread at a time.
#ifndef EXPORT_TEXTBUFFER_H_
#define EXPORT_TEXTBUFFER_H_

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string_view>

namespace ldexport {

class TextBuffer {
 public:
  explicit TextBuffer(size_t capacity);
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  void clear() {
    size_ = 0;
    overflowed_ = false;
  }
  void append(std::string_view text);
  void append(char c);
  // Shortest round-trip form ("120", "0.9", "1e-05").
  void appendNumber(double value);
  void appendInteger(int64_t value);
  // Unix milliseconds as seconds with three decimals ("1732530000.125").
  void appendMillisAsSeconds(int64_t millis);
  // text in a Prometheus label value: \ " and newline escaped, invalid UTF-8
  // bytes replaced by '?'.
  void appendLabelValue(std::string_view text);
  // text inside a JSON string: " \ and control characters escaped, invalid
  // UTF-8 bytes replaced by '?'.
  void appendJsonString(std::string_view text);

  const char* data() const { return data_.get(); }
  size_t size() const { return size_; }
  std::string_view view() const { return std::string_view(data_.get(), size_); }
  bool overflowed() const { return overflowed_; }
  size_t capacity() const { return capacity_; }

 private:
  // Appends the UTF-8 sequences of text, passing each valid character to emit.
  template <typename Emit>
  void appendValidUtf8(std::string_view text, Emit emit);

  std::unique_ptr<char[]> data_;
  size_t capacity_;
  size_t size_ = 0;
  bool overflowed_ = false;
};

// Length of the valid UTF-8 sequence at the start of text, or 0 when its first
// byte does not start one (overlong forms and surrogates count as invalid).
size_t utf8SequenceLength(std::string_view text);

}  // namespace ldexport

#endif  // EXPORT_TEXTBUFFER_H_
