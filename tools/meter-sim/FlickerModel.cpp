#include "FlickerModel.h"

#include <cmath>

namespace {

int64_t windowIndex(int64_t seconds, int64_t window) {
  return seconds / window - ((seconds % window != 0) && (seconds < 0));
}

}  // namespace

FlickerModel::FlickerModel(int64_t nowSeconds, SimRandom& rng) : now_(nowSeconds) {
  for (int p = 0; p < 3; ++p) {
    pst_.value[p] = rng.uniform(0.25, 0.45);
    plt_.value[p] = pst_.value[p] * rng.uniform(0.9, 1.1);
  }
  pst_.time = windowIndex(nowSeconds, kPstWindow) * kPstWindow;
  plt_.time = windowIndex(nowSeconds, kPltWindow) * kPltWindow;
  track(pst_);
  track(plt_);
  step(nowSeconds, rng);
}

void FlickerModel::step(int64_t nowSeconds, SimRandom& rng) {
  const int64_t lastPst = windowIndex(now_, kPstWindow);
  const int64_t lastPlt = windowIndex(now_, kPltWindow);
  now_ = nowSeconds;
  if (windowIndex(now_, kPstWindow) != lastPst)
    closePstWindow(windowIndex(now_, kPstWindow) * kPstWindow);
  if (windowIndex(now_, kPltWindow) != lastPlt)
    closePltWindow(windowIndex(now_, kPltWindow) * kPltWindow);
  for (int p = 0; p < 3; ++p) {
    double value = 0.1 + 0.03 * rng.gauss();
    if (rng.chance(0.01)) value += rng.uniform(0.5, 2.0);  // a passing disturbance
    pinst_[p] = value < 0.0 ? 0.0 : value;
    pinstSum_[p] += pinst_[p];
  }
  ++pinstCount_;
}

uint32_t FlickerModel::countdown(int64_t window) const {
  return static_cast<uint32_t>((windowIndex(now_, window) + 1) * window - now_);
}

void FlickerModel::closePstWindow(int64_t windowEnd) {
  if (pinstCount_ == 0) return;
  for (int p = 0; p < 3; ++p) {
    pst_.value[p] = std::sqrt(pinstSum_[p] / pinstCount_);
    pstCubeSum_[p] += pst_.value[p] * pst_.value[p] * pst_.value[p];
    pinstSum_[p] = 0.0;
  }
  pinstCount_ = 0;
  ++pstCount_;
  pst_.valid = true;
  pst_.time = windowEnd;
  track(pst_);
}

void FlickerModel::closePltWindow(int64_t windowEnd) {
  if (pstCount_ == 0) return;
  for (int p = 0; p < 3; ++p) {
    plt_.value[p] = std::cbrt(pstCubeSum_[p] / pstCount_);
    pstCubeSum_[p] = 0.0;
  }
  pstCount_ = 0;
  plt_.valid = true;
  plt_.time = windowEnd;
  track(plt_);
}

void FlickerModel::track(Severity& s) {
  for (int p = 0; p < 3; ++p) {
    if (!s.max[p].valid || s.value[p] > s.max[p].value) s.max[p] = {s.value[p], true, s.time};
    if (!s.min[p].valid || s.value[p] < s.min[p].value) s.min[p] = {s.value[p], true, s.time};
  }
}
