#include "pipeline/input/PerfmonLog.h"

Logger perfmonLogger("tolvik-perfmon", false, 60, 100);
