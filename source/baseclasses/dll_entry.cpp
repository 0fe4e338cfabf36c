#include "class_factory.h"

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID)
{
    // Notifications about threads stay on: the static C++ runtime frees its thread-local data by them.
    if (ulReason == DLL_PROCESS_ATTACH)
        g_hInst = hInstance;
    return TRUE;
}
