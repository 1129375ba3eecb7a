#include "foundation/Str.h"
