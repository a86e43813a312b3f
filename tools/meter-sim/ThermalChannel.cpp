#include "ThermalChannel.h"

#include <cmath>

void ThermalChannel::update(double reading, double dtSeconds) {
  if (!started_) {
    thermal_ = reading;
    started_ = true;
  } else {
    thermal_ += (1.0 - std::exp(-dtSeconds / kTau)) * (reading - thermal_);
  }
  if (thermal_ >= 0.0) {
    if (!posMax_.valid || thermal_ > posMax_.value) posMax_ = {thermal_, true};
    if (!posMin_.valid || thermal_ < posMin_.value) posMin_ = {thermal_, true};
  } else {
    if (!negMax_.valid || thermal_ < negMax_.value) negMax_ = {thermal_, true};
    if (!negMin_.valid || thermal_ > negMin_.value) negMin_ = {thermal_, true};
  }
}
