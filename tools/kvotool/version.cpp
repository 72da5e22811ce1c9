#include "version.h"

#ifndef KVO_TOOL_VERSION
#error "KVO_TOOL_VERSION must give the project's version"
#endif
#ifndef KVO_TOOL_COMMIT
#define KVO_TOOL_COMMIT ""
#endif

namespace kvotool
{
const char* ToolVersion()
{
    return KVO_TOOL_VERSION;
}

const char* ToolVersionLine()
{
    return sizeof(KVO_TOOL_COMMIT) > 1 ? "kvotool " KVO_TOOL_VERSION " (commit " KVO_TOOL_COMMIT ")"
                                       : "kvotool " KVO_TOOL_VERSION;
}
} // namespace kvotool
