// Feeds the metadata subsystem's log messages into the log channel.
#pragma once

#include "metadata/metadata_log.h"

// The metadata log callback the stub registers: levels Assert to Display are
// written with their level prefix, Verbose and above are dropped. Always 0.
int MetadataLogBridge(MetadataLogMessage& message);
