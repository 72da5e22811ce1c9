// Size trims for the stub executable only (the tests link the full runtime).
//
// The runtime's default terminate handler demangles the type of an escaped
// exception for its message, which links the whole demangler (about 46 KiB).
// The stub has no console to print that message on, so it just aborts.
//
// The runtime's copy-on-write string object (which its exception classes
// need) refers to one std::random_device member, and that reference alone
// would link the whole random_device object and the CRT's rand_s (about
// 3 KiB). The stub has no random_device; if it ever gets one, the runtime's
// object comes back for the other members and the link fails on this
// duplicate definition instead of calling it.
#include <cstdlib>
#include <random>

void std::random_device::_M_init(const char*, size_t)
{
    std::abort();
}

namespace __gnu_cxx
{
void __verbose_terminate_handler()
{
    std::abort();
}
} // namespace __gnu_cxx
