// The process's one metadata object, read by every step of the launch flow.
#pragma once

#include "metadata/title_metadata.h"

// Makes `metadata` (owned from now on) the process's object; an object held
// before is deleted. The last one is deleted when the process exits.
void SetTitleMetadata(TitleMetadata* metadata);

// The process's object; an empty one is created if none was set yet.
TitleMetadata& TheTitleMetadata();
