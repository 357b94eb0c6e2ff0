#include "visual/Visual.h"
