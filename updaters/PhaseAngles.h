// The angle arithmetic of the phasor and symmetrical components pages, in
// degrees. Each step corrects once, as the meter's firmware does, so inputs
// further out than one turn stay out of range.
//
// Thread-safety: pure functions.
#ifndef UPDATERS_PHASEANGLES_H_
#define UPDATERS_PHASEANGLES_H_

class PhaseAngles {
 public:
  // An angle below 0 with 360 added.
  static double normalised(double angle) { return angle < 0.0 ? angle + 360.0 : angle; }
  // angle + by, less 360 when the sum is above 360 (exactly 360 stays).
  static double rotated(double angle, double by);
  // Voltage angle minus current angle, brought into -180..180.
  static double difference(double voltageAngle, double currentAngle);
};

#endif  // UPDATERS_PHASEANGLES_H_
