// Collects what the libraries log (the log channel and the metadata log hook)
// while the tool works, so that the lines can be shown with the file they
// belong to, or turned into problems.
#pragma once

#include <string>
#include <vector>

namespace kvotool
{
// Installs the collecting sink on the log channel and the metadata log
// callback. Call once at start-up; both stay for the life of the process.
void InstallLogCapture();

// Lines logged since the last call, in order; the store is emptied. Metadata
// lines carry the stub's level prefix ("[Error  ] : ...").
std::vector<std::string> TakeLoggedLines();

// Drops the lines logged from now on until the object ends (for look-ups
// whose messages would only confuse, such as naming every feature bit).
class QuietLog
{
public:
    QuietLog();
    ~QuietLog();
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;
};
} // namespace kvotool
