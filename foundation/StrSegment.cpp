#include "foundation/StrSegment.h"
