// Problems found in one input file, printed compiler-style on standard error.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kvotool
{
enum class Severity
{
    Note,
    Warning,
    Error,
};

struct Diagnostic
{
    Severity severity;
    int line;   // from 1; 0 when the problem has no position
    int column; // from 1, in characters
    std::string message;
    std::string suggestion; // what to write instead, when there is one
    std::string file;       // the file it is about, when not the one being reported on
    std::string rule;       // a stable name of the kind of problem, for machine-readable output
};

// Line and character position of a byte offset in a UTF-8 text, counted the
// way the strict validator counts: lines from 1 after each line feed,
// characters from 1 with a multi-byte character counting once.
void PositionOf(const std::string& text, size_t offset, int& line, int& column);

class DiagnosticList
{
public:
    // Each gives the item added, for setting its other members; the reference
    // holds until the next item is added.
    Diagnostic& Add(Severity severity, const std::string& message, int line = 0, int column = 0);
    Diagnostic& AddAt(Severity severity, const std::string& message, const std::string& text, size_t offset);
    Diagnostic& Error(const std::string& message) { return Add(Severity::Error, message); }
    Diagnostic& Warning(const std::string& message) { return Add(Severity::Warning, message); }
    Diagnostic& Note(const std::string& message) { return Add(Severity::Note, message); }
    // Gives the items from index `from` on that have no rule yet `rule`.
    void SetRule(size_t from, const char* rule);
    // Appends every item of `other`, giving those without a file `file`.
    void Append(const DiagnosticList& other, const std::string& file);

    size_t Errors() const;
    size_t Warnings() const;
    const std::vector<Diagnostic>& Items() const { return m_Items; }

    // Orders the items by position, those without one last; items at the
    // same place keep the order in which they were found.
    void SortByPosition();

    // "FILE:LINE:COL: error: message" per item, in the order found; FILE is
    // the item's own file when it has one.
    std::string Format(const std::string& fileName) const;

private:
    std::vector<Diagnostic> m_Items;
};
} // namespace kvotool
