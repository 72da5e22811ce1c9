// The metadata subsystem's own log hook; the stub routes it into its log channel.
#pragma once

#include <cstdint>

enum MetadataLogLevel : uint32_t
{
    Assert = 0,
    Error = 1,
    Warning = 2,
    Display = 3,
    Verbose = 4,
};

class MetadataLogMessage
{
public:
    virtual uint32_t GetLevel() const = 0;
    virtual const char* GetText() const = 0;

protected:
    ~MetadataLogMessage() = default;
};

using MetadataLogCallback = int (*)(MetadataLogMessage& message);

void SetMetadataLogCallback(MetadataLogCallback callback);

#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
bool MetadataLog(uint32_t level, const char* format, ...);
