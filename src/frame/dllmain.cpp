// The library's entry point on Windows: nothing is initialised or torn down; thread
// attach and detach notifications are switched off, as the library keeps no
// per-thread state.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}
