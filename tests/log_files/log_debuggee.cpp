// Writes one line through the direct file log: "<argv[2]>" into the log file
// named by argv[1], so that a debugger can compare its copy with the file.
#include "log/stub_log.h"
#include "util/text_convert.h"

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    if (!StubLog::Create(DirectFile, ToWide(argv[1]).c_str()))
        return 1;
    StubLog::Printf("%s", argv[2]);
    StubLog::Close();
    return 0;
}
