#include "export/modbus/ImageExchange.h"

namespace modbus {

ImageExchange::ImageExchange() : middle_(2) {}

void ImageExchange::publish() {
  // Release: the image's registers are visible to the reader that takes it.
  const unsigned previous =
      middle_.exchange(static_cast<unsigned>(back_) | kFresh, std::memory_order_acq_rel);
  back_ = static_cast<int>(previous & ~kFresh);
}

const RegisterImage* ImageExchange::latest() {
  if (middle_.load(std::memory_order_relaxed) & kFresh) {
    const unsigned previous =
        middle_.exchange(static_cast<unsigned>(front_), std::memory_order_acq_rel);
    front_ = static_cast<int>(previous & ~kFresh);
    readerHasImage_ = true;
  }
  return readerHasImage_ ? &images_[front_] : nullptr;
}

}  // namespace modbus
