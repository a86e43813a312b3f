// PhaseAngles: the single-step corrections of the phasor pages.
#include <gtest/gtest.h>

#include "updaters/PhaseAngles.h"

namespace {

TEST(PhaseAnglesTest, NormalisedAddsOneTurnOnlyBelowZero) {
  EXPECT_EQ(PhaseAngles::normalised(-90.0), 270.0);
  EXPECT_EQ(PhaseAngles::normalised(0.0), 0.0);
  EXPECT_EQ(PhaseAngles::normalised(-400.0), -40.0);  // one step only
  EXPECT_EQ(PhaseAngles::normalised(370.0), 370.0);
}

TEST(PhaseAnglesTest, RotatedWrapsAboveButNotAtAFullTurn) {
  EXPECT_EQ(PhaseAngles::rotated(240.0, 120.0), 360.0);
  EXPECT_EQ(PhaseAngles::rotated(250.0, 120.0), 10.0);
  EXPECT_EQ(PhaseAngles::rotated(10.0, 240.0), 250.0);
}

TEST(PhaseAnglesTest, DifferenceIsBroughtIntoPlusMinus180) {
  EXPECT_EQ(PhaseAngles::difference(10.0, 350.0), 20.0);
  EXPECT_EQ(PhaseAngles::difference(350.0, 10.0), -20.0);
  EXPECT_EQ(PhaseAngles::difference(180.0, 0.0), 180.0);
  EXPECT_EQ(PhaseAngles::difference(0.0, 180.0), -180.0);
}

}  // namespace
