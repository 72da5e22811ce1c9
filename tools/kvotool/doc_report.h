// The results of "check" and "doctor" in the three output forms: compiler-style
// text, one JSON document, and SARIF 2.1.0 for code-review tools.
#pragma once

#include "diagnostics.h"
#include "json/json_writer.h"

#include <functional>
#include <string>
#include <vector>

namespace kvotool
{
enum class OutputFormat
{
    Text,
    Json,
    Sarif,
};

// Reads the value of --format; false for an unknown one.
bool ParseOutputFormat(const std::string& text, OutputFormat& format);

// What one input (a document, or a game folder) gave.
struct Report
{
    std::string file; // as the user named it ("<stdin>" for standard input)
    DiagnosticList diags;
    std::vector<std::string> extraLines; // further text-only lines, after the findings
    std::string summary;                 // the closing text line, after "FILE: "; empty for none
    std::string verdict;                 // the verdict in one line
    // Writes the members of the verdict object (the JSON "verdict", SARIF's
    // invocation properties) into an open object.
    std::function<void(JsonWriter&)> verdictMembers;
};

// The findings, the extra lines and the summary, each line ending in "\n".
std::string FormatText(const Report& report);

// { "tool", "version", "command", "reports": [ { "file", "findings": [ { "file",
// "severity", "line", "column", "message", "suggestion", "rule" } ], "errors",
// "warnings", "verdict" } ], "errors", "warnings", "exitStatus" }
std::string FormatJson(const std::string& command, const std::vector<Report>& reports, int exitStatus);

// One run of kvotool with a result per finding (notes included), located on
// the file and, where known, its line and column (counted in characters).
std::string FormatSarif(const std::string& command, const std::vector<Report>& reports, int exitStatus);
} // namespace kvotool
