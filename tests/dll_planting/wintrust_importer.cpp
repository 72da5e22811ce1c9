// The control of the planting test for wintrust.dll: a program that imports
// it the ordinary way. When the planted copy beside it is loaded into this
// program, planting wintrust.dll is real where the test runs.
#include <windows.h>
#include <softpub.h>
#include <wintrust.h>

int main()
{
    // The call only makes the import real; its result does not matter.
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    WINTRUST_DATA data = {};
    data.cbStruct = sizeof data;
    return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data) == 0 ? 0 : 1;
}
