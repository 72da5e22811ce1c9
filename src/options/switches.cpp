#include "options/switches.h"

// One translation unit, so the registration order is the order below.
namespace Switches
{
RegisteredSwitch<ValueSwitch> ForceLauncherPath(L"-forceLauncherPath");
RegisteredSwitch<ValueSwitch> ForceTargetPath(L"-forceTargetPath");
RegisteredSwitch<FlagSwitch> StubLogEnabled(L"-stub_log");
RegisteredSwitch<FlagSwitch> LaunchDirectly(L"-launchDirectly");
RegisteredSwitch<FlagSwitch> ForceXpVistaFailure(L"-forceXpVistaFailure");
RegisteredSwitch<FlagSwitch> ForceXpVistaSuccess(L"-forceXpVistaSuccess");
RegisteredSwitch<FlagSwitch> ForceSP1Failure(L"-forceSP1Failure");
RegisteredSwitch<FlagSwitch> ForceSP1Success(L"-forceSP1Success");
RegisteredSwitch<FlagSwitch> Force64Bit(L"-force64Bit");
RegisteredSwitch<FlagSwitch> Force32Bit(L"-force32Bit");
RegisteredSwitch<FlagSwitch> ForceOldKvoFailure(L"-forceOldKvoFailure");
RegisteredSwitch<FlagSwitch> SkipInstallers(L"-skipInstallers");
RegisteredSwitch<FlagSwitch> ForcePrereleaseCheck(L"-forcePrereleaseCheck");
RegisteredSwitch<FlagSwitch> SkipPrereleaseCheck(L"-skipPrereleaseCheck");
RegisteredSwitch<FlagSwitch> SlashF(L"/F");
} // namespace Switches
