#pragma once

// Clients know the values of samples by this place.
#include "media/SampleValues.h"
