// Flicker of the three phase voltages as a meter measures it: instantaneous
// flicker Pinst every step, short-term Pst at the end of each 10-minute window
// and long-term Plt at the end of each 2-hour window (windows aligned to the
// clock), with countdowns to the next window end and the extremes of Pst and Plt.
//
// Pst is the square root of the mean Pinst of its window; Plt is the cube root of
// the mean cube of the Pst values of its window. The run starts from plausible
// earlier values so that the pages are not empty for the first hours.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_FLICKERMODEL_H_
#define TOOLS_METER_SIM_FLICKERMODEL_H_

#include <stdint.h>

#include "SimRandom.h"

class FlickerModel {
 public:
  static constexpr int64_t kPstWindow = 600;
  static constexpr int64_t kPltWindow = 7200;

  struct Extreme {
    double value = 0.0;
    bool valid = false;
    int64_t time = 0;  // civil seconds
  };

  struct Severity {
    double value[3] = {};
    bool valid = false;  // a full window has ended since the start
    int64_t time = 0;    // end of the window that gave the values
    Extreme max[3], min[3];
  };

  FlickerModel(int64_t nowSeconds, SimRandom& rng);

  void step(int64_t nowSeconds, SimRandom& rng);

  double pinst(int phase) const { return pinst_[phase]; }
  const Severity& pst() const { return pst_; }
  const Severity& plt() const { return plt_; }
  uint32_t pstCountdown() const { return countdown(kPstWindow); }
  uint32_t pltCountdown() const { return countdown(kPltWindow); }

 private:
  uint32_t countdown(int64_t window) const;
  void closePstWindow(int64_t windowEnd);
  void closePltWindow(int64_t windowEnd);
  static void track(Severity& severity);

  int64_t now_;
  double pinst_[3] = {};
  double pinstSum_[3] = {};
  long pinstCount_ = 0;
  double pstCubeSum_[3] = {};
  long pstCount_ = 0;
  Severity pst_;
  Severity plt_;
};

#endif  // TOOLS_METER_SIM_FLICKERMODEL_H_
