// Hands register images from the reading loop to the server without either
// ever waiting on the other: three images, one being filled by the writer, one
// being read by the reader, one published in between (an atomic index with a
// "fresh" bit). A request is answered wholly from the image latest() gave, so
// every value and scale factor of one answer comes from one period.
//
// Thread-safety: exactly one writer thread (back(), publish()) and one reader
// thread (latest()) at a time; they may run concurrently. No call blocks or
// allocates.
#ifndef EXPORT_MODBUS_IMAGEEXCHANGE_H_
#define EXPORT_MODBUS_IMAGEEXCHANGE_H_

#include <atomic>

#include "export/modbus/RegisterImage.h"

namespace modbus {

class ImageExchange {
 public:
  ImageExchange();
  ImageExchange(const ImageExchange&) = delete;
  ImageExchange& operator=(const ImageExchange&) = delete;

  // Writer: the image to fill for the next publish(); its old content is an
  // older period's.
  RegisterImage* back() { return &images_[back_]; }
  // Writer: makes the image back() returned the newest.
  void publish();

  // Reader: the newest published image, or nullptr before the first publish().
  // It stays unchanged until the reader's next latest() call.
  const RegisterImage* latest();

 private:
  static constexpr unsigned kFresh = 4;

  RegisterImage images_[3];
  int back_ = 0;                  // writer's own
  int front_ = 1;                 // reader's own
  bool readerHasImage_ = false;   // reader's own
  std::atomic<unsigned> middle_;  // index of the published image | kFresh
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_IMAGEEXCHANGE_H_
