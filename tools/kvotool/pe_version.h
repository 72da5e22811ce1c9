// Reads the version resource of a Windows executable from its bytes, on any
// platform. Every offset the file gives is checked against the file's size,
// so a damaged or hostile file gives "no version resource", never a crash.
#pragma once

#include <cstdint>
#include <string>

namespace kvotool
{
struct PeVersionInfo
{
    // The fixed part: the version the stub's own checks read.
    uint16_t fileVersion[4] = {0, 0, 0, 0};
    // From the first string table, as UTF-8; empty when absent.
    std::string fileVersionText;
    std::string productName;
    std::string companyName;
    std::string originalFilename;
    std::string keyFingerprint; // of the container key the stub was built with
};

enum class PeVersionResult
{
    Ok,
    NotExecutable, // no "MZ" and "PE" headers
    NoVersion,     // an executable without a (readable) version resource
};

PeVersionResult ReadPeVersion(const std::string& bytes, PeVersionInfo& info);

// "1.0.3.0"
std::string FormatVersion(const uint16_t version[4]);
} // namespace kvotool
