// The stub's switches. Read them only after OptionRegistry::Parse has run.
#pragma once

#include "options/option_registry.h"

namespace Switches
{
extern RegisteredSwitch<ValueSwitch> ForceLauncherPath;   // -forceLauncherPath
extern RegisteredSwitch<ValueSwitch> ForceTargetPath;     // -forceTargetPath
extern RegisteredSwitch<FlagSwitch> StubLogEnabled;       // -stub_log
extern RegisteredSwitch<FlagSwitch> LaunchDirectly;       // -launchDirectly
extern RegisteredSwitch<FlagSwitch> ForceXpVistaFailure;  // -forceXpVistaFailure
extern RegisteredSwitch<FlagSwitch> ForceXpVistaSuccess;  // -forceXpVistaSuccess
extern RegisteredSwitch<FlagSwitch> ForceSP1Failure;      // -forceSP1Failure
extern RegisteredSwitch<FlagSwitch> ForceSP1Success;      // -forceSP1Success
extern RegisteredSwitch<FlagSwitch> Force64Bit;           // -force64Bit, no effect
extern RegisteredSwitch<FlagSwitch> Force32Bit;           // -force32Bit, no effect
extern RegisteredSwitch<FlagSwitch> ForceOldKvoFailure;   // -forceOldKvoFailure
extern RegisteredSwitch<FlagSwitch> SkipInstallers;       // -skipInstallers
extern RegisteredSwitch<FlagSwitch> ForcePrereleaseCheck; // -forcePrereleaseCheck
extern RegisteredSwitch<FlagSwitch> SkipPrereleaseCheck;  // -skipPrereleaseCheck, no effect
extern RegisteredSwitch<FlagSwitch> SlashF;               // /F, no effect
} // namespace Switches
