#include "updaters/SymmUpdate.h"

SymmUpdate::SymmUpdate() {}

SymmUpdate::~SymmUpdate() {}
