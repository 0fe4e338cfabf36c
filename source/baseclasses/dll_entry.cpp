#include "class_factory.h"

namespace {

void initTemplates(BOOL loading)
{
    for (int i = 0; i < g_cTemplates; ++i)
        if (const LPFNInitRoutine init = g_Templates[i].m_lpfnInit)
            init(loading, g_Templates[i].m_ClsID);
}

}  // namespace

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID)
{
    // Notifications about threads stay on: the static C++ runtime frees its thread-local data by them.
    if (ulReason == DLL_PROCESS_ATTACH) {
        g_hInst = hInstance;
        initTemplates(TRUE);
    } else if (ulReason == DLL_PROCESS_DETACH) {
        initTemplates(FALSE);
    }
    return TRUE;
}
