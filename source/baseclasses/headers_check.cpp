#include "streams.h"
