// The control of the planting test: a program that imports bcrypt.dll the
// ordinary way, as the stub once did. When the planted copy beside it is
// loaded into this program, planting is real in the environment the test
// runs in, and the stub's own result means something.
#include <windows.h>
#include <bcrypt.h>

int main()
{
    unsigned char bytes[4];
    // The call only makes the import real; its result does not matter.
    return BCryptGenRandom(nullptr, bytes, sizeof bytes, BCRYPT_USE_SYSTEM_PREFERRED_RNG) == 0 ? 0 : 1;
}
