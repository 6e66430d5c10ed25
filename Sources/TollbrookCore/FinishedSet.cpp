#include "TollbrookCore/FinishedSet.h"
