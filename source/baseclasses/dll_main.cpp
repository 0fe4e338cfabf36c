// On its own, so that a module can bring a DllMain of its own that calls DllEntryPoint.

#include "class_factory.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD reason, LPVOID reserved)
{
    return DllEntryPoint(hInstance, reason, reserved);
}
