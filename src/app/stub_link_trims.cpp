// Size trims for the stub executable only (the tests link the full runtime).
//
// The runtime's default terminate handler demangles the type of an escaped
// exception for its message, which links the whole demangler (about 45 KiB).
// The stub has no console to print that message on, so it just aborts.
//
// The two known-folder ids are defined here so that the linker does not pull
// in the system library's one object that defines every GUID (about 40 KiB).
#include <windows.h>
#include <initguid.h>
#include <knownfolders.h>

#include <cstdlib>

namespace __gnu_cxx
{
void __verbose_terminate_handler()
{
    std::abort();
}
} // namespace __gnu_cxx
