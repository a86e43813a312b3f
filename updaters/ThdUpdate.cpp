#include "updaters/ThdUpdate.h"

ThdUpdate::ThdUpdate() {}

ThdUpdate::~ThdUpdate() {}
