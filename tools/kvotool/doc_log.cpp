#include "doc_log.h"

#include "log/stub_log.h"
#include "metadata/metadata_log.h"

#include <cstdio>
#include <memory>

namespace kvotool
{
namespace
{
std::vector<std::string> g_Lines;
int g_Quiet = 0;

class CollectingSink : public LogSink
{
public:
    bool WriteLine(const char* format, va_list args) override
    {
        char line[4096];
        int n = std::vsnprintf(line, sizeof line, format, args);
        if (n < 0)
            return false;
        if (!g_Quiet)
            g_Lines.emplace_back(line);
        return true;
    }
    bool GetLogPath(std::wstring& path) override
    {
        path.clear();
        return false;
    }
};

// The prefixes the stub writes for the metadata levels; Verbose is dropped
// there and here.
int CollectMetadataLine(MetadataLogMessage& message)
{
    static const char* const kPrefixes[] = {"[Assert ] : ", "[Error  ] : ", "[Warning] : ", "[Display] : "};
    uint32_t level = message.GetLevel();
    if (level < 4 && !g_Quiet)
        g_Lines.push_back(std::string(kPrefixes[level]) + message.GetText());
    return 0;
}
} // namespace

void InstallLogCapture()
{
    StubLog::Install(std::make_unique<CollectingSink>(), DirectFile);
    SetMetadataLogCallback(&CollectMetadataLine);
}

std::vector<std::string> TakeLoggedLines()
{
    std::vector<std::string> lines;
    lines.swap(g_Lines);
    return lines;
}

QuietLog::QuietLog()
{
    ++g_Quiet;
}

QuietLog::~QuietLog()
{
    --g_Quiet;
}
} // namespace kvotool
