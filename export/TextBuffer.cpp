#include "export/TextBuffer.h"

#include <string.h>

#include <charconv>

namespace ldexport {

TextBuffer::TextBuffer(size_t capacity) : data_(new char[capacity]), capacity_(capacity) {}

void TextBuffer::append(std::string_view text) {
  if (overflowed_ || text.size() > capacity_ - size_) {
    overflowed_ = true;
    return;
  }
  memcpy(data_.get() + size_, text.data(), text.size());
  size_ += text.size();
}

void TextBuffer::append(char c) { append(std::string_view(&c, 1)); }

void TextBuffer::appendNumber(double value) {
  char text[32];
  auto result = std::to_chars(text, text + sizeof text, value);
  append(std::string_view(text, static_cast<size_t>(result.ptr - text)));
}

void TextBuffer::appendInteger(int64_t value) {
  char text[24];
  auto result = std::to_chars(text, text + sizeof text, value);
  append(std::string_view(text, static_cast<size_t>(result.ptr - text)));
}

void TextBuffer::appendMillisAsSeconds(int64_t millis) {
  if (millis < 0) {
    append('-');
    millis = -millis;
  }
  appendInteger(millis / 1000);
  char fraction[4] = {'.', static_cast<char>('0' + millis % 1000 / 100),
                      static_cast<char>('0' + millis % 100 / 10),
                      static_cast<char>('0' + millis % 10)};
  append(std::string_view(fraction, sizeof fraction));
}

size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char first = byte(0);
  if (first < 0x80) return 1;
  size_t length = 0;
  unsigned int low = 0x80, high = 0xBF;  // range of the second byte
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    if (first == 0xE0) low = 0xA0;
    if (first == 0xED) high = 0x9F;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    if (first == 0xF0) low = 0x90;
    if (first == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  if (byte(1) < low || byte(1) > high) return 0;
  for (size_t i = 2; i < length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  }
  return length;
}

template <typename Emit>
void TextBuffer::appendValidUtf8(std::string_view text, Emit emit) {
  while (!text.empty()) {
    size_t length = utf8SequenceLength(text);
    if (length == 0) {
      append('?');
      text.remove_prefix(1);
      continue;
    }
    if (length == 1) {
      emit(text[0]);
    } else {
      append(text.substr(0, length));
    }
    text.remove_prefix(length);
  }
}

void TextBuffer::appendLabelValue(std::string_view text) {
  appendValidUtf8(text, [this](char c) {
    if (c == '\\') {
      append("\\\\");
    } else if (c == '"') {
      append("\\\"");
    } else if (c == '\n') {
      append("\\n");
    } else {
      append(c);
    }
  });
}

void TextBuffer::appendJsonString(std::string_view text) {
  appendValidUtf8(text, [this](char c) {
    unsigned char u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      append('\\');
      append(c);
    } else if (u < 0x20 || u == 0x7F) {
      static const char kHex[] = "0123456789abcdef";
      char escape[6] = {'\\', 'u', '0', '0', kHex[u >> 4], kHex[u & 15]};
      append(std::string_view(escape, sizeof escape));
    } else {
      append(c);
    }
  });
}

}  // namespace ldexport
