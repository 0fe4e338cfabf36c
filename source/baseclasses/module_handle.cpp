#include "streams.h"

HINSTANCE g_hInst = nullptr;
