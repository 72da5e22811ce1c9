// The analysis behind "kvotool check": strict JSON, every key and field of
// the document, and the stub's own load of the file.
#pragma once

#include "diagnostics.h"
#include "doc_input.h"
#include "doc_report.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvotool
{
struct CheckOptions
{
    bool equalsSyntax = false; // skip the strict JSON check
};

struct CheckResult
{
    uint32_t stubStatus = 0;          // what the stub's load gives (0 Ok)
    std::vector<std::string> stubLog; // what the stub would log while loading
};

// Adds every problem of `doc` (whose text was loaded) to `diags`.
CheckResult CheckDocument(const InputDocument& doc, const CheckOptions& options, DiagnosticList& diags);

// Name of a MetadataStatus code, such as "RequiredFieldMissing".
const char* MetadataStatusName(uint32_t status);
} // namespace kvotool

namespace kvotool
{
struct CheckRunOptions
{
    const uint8_t* key = nullptr; // null: the key built into the tool
    bool equalsSyntax = false;
    bool strict = false;  // warnings count as problems
    bool verbose = false; // also print what the stub would log
    bool quiet = false;   // no summary line
};

enum class CheckOutcome
{
    Clean,    // no errors (and no warnings under strict)
    Problems, // errors, or warnings under strict
    IoError,  // the file could not be read
};

// Loads and checks one file into `report` (named as `shown`). `doc` receives
// the loaded input (text empty when it could not be loaded), `result` the
// stub's own load.
CheckOutcome CheckFileReport(const std::string& path, const std::string& shown,
                             const CheckRunOptions& options, InputDocument& doc, Report& report,
                             CheckResult& result);

// The same, printed as text on standard error.
CheckOutcome CheckFile(const std::string& path, const CheckRunOptions& options, InputDocument& doc);
} // namespace kvotool
