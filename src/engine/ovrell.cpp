#include "engine/ovrell.h"

#include "engine/tile_workers.h"

Ovrell::Ovrell(Options& options) : options(options) {}

Ovrell::~Ovrell() {}
