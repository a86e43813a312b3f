// Captures what the program writes to a standard descriptor (1 or 2) while the
// object lives: everything written through stdio or straight to the descriptor.
#ifndef TESTS_SUPPORT_STREAMCAPTURE_H_
#define TESTS_SUPPORT_STREAMCAPTURE_H_

#include <string>

namespace testsupport {

class StreamCapture {
 public:
  explicit StreamCapture(int fd);
  ~StreamCapture();
  StreamCapture(const StreamCapture&) = delete;
  StreamCapture& operator=(const StreamCapture&) = delete;

  // Stops capturing and returns the text; later calls return the same text.
  std::string finish();

 private:
  int fd_;
  int saved_ = -1;
  std::string path_;
  std::string text_;
  bool finished_ = false;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_STREAMCAPTURE_H_
