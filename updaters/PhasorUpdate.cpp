#include "updaters/PhasorUpdate.h"

PhasorUpdate::PhasorUpdate() {}

PhasorUpdate::~PhasorUpdate() {}
