#include "updaters/FlickerUpdate.h"

FlickerUpdate::FlickerUpdate() {}

FlickerUpdate::~FlickerUpdate() {}
