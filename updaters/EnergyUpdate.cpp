#include "updaters/EnergyUpdate.h"

EnergyUpdate::EnergyUpdate() {}

EnergyUpdate::~EnergyUpdate() {}
