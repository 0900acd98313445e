#include "engine/ovrell.h"

Ovrell::Ovrell(Options& options) : options(options) {}

Ovrell::~Ovrell() {}
