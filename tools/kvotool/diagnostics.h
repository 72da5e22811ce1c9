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
};

// Line and character position of a byte offset in a UTF-8 text, counted the
// way the strict validator counts: lines from 1 after each line feed,
// characters from 1 with a multi-byte character counting once.
void PositionOf(const std::string& text, size_t offset, int& line, int& column);

class DiagnosticList
{
  public:
    void Add(Severity severity, const std::string& message, int line = 0, int column = 0);
    void AddAt(Severity severity, const std::string& message, const std::string& text, size_t offset);
    void Error(const std::string& message) { Add(Severity::Error, message); }
    void Warning(const std::string& message) { Add(Severity::Warning, message); }
    void Note(const std::string& message) { Add(Severity::Note, message); }

    size_t Errors() const;
    size_t Warnings() const;
    const std::vector<Diagnostic>& Items() const { return m_Items; }

    // Orders the items by position, those without one last; items at the
    // same place keep the order in which they were found.
    void SortByPosition();

    // "FILE:LINE:COL: error: message" per item, in the order found.
    std::string Format(const std::string& fileName) const;

  private:
    std::vector<Diagnostic> m_Items;
};
} // namespace kvotool
