#include "updaters/PhaseAngles.h"

double PhaseAngles::rotated(double angle, double by) {
  double sum = angle + by;
  if (sum > 360.0) sum -= 360.0;
  return sum;
}

double PhaseAngles::difference(double voltageAngle, double currentAngle) {
  double difference = voltageAngle - currentAngle;
  if (difference > 180.0) difference -= 360.0;
  if (difference < -180.0) difference += 360.0;
  return difference;
}
