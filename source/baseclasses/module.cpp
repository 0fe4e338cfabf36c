// On its own, so that a program can show property pages without the entry points of a server.

#include "class_factory.h"

HINSTANCE g_hInst = nullptr;
