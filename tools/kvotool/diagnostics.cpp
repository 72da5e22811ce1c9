#include "diagnostics.h"

#include <algorithm>
#include <climits>

namespace kvotool
{
void PositionOf(const std::string& text, size_t offset, int& line, int& column)
{
    line = 1;
    column = 1;
    if (offset > text.size())
        offset = text.size();
    for (size_t i = 0; i < offset; ++i)
    {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n')
        {
            ++line;
            column = 1;
        }
        else if ((c & 0xC0) != 0x80)
        {
            ++column; // continuation bytes belong to the character before
        }
    }
}

Diagnostic& DiagnosticList::Add(Severity severity, const std::string& message, int line, int column)
{
    m_Items.push_back(Diagnostic{severity, line, column, message, {}, {}, {}});
    return m_Items.back();
}

Diagnostic& DiagnosticList::AddAt(Severity severity, const std::string& message, const std::string& text,
                                  size_t offset)
{
    int line, column;
    PositionOf(text, offset, line, column);
    return Add(severity, message, line, column);
}

void DiagnosticList::SetRule(size_t from, const char* rule)
{
    for (size_t i = from; i < m_Items.size(); ++i)
        if (m_Items[i].rule.empty())
            m_Items[i].rule = rule;
}

void DiagnosticList::Append(const DiagnosticList& other, const std::string& file)
{
    for (Diagnostic d : other.m_Items)
    {
        if (d.file.empty())
            d.file = file;
        m_Items.push_back(std::move(d));
    }
}

size_t DiagnosticList::Errors() const
{
    size_t n = 0;
    for (const auto& d : m_Items)
        n += d.severity == Severity::Error;
    return n;
}

size_t DiagnosticList::Warnings() const
{
    size_t n = 0;
    for (const auto& d : m_Items)
        n += d.severity == Severity::Warning;
    return n;
}

void DiagnosticList::SortByPosition()
{
    std::stable_sort(m_Items.begin(), m_Items.end(),
                     [](const Diagnostic& a, const Diagnostic& b)
                     {
                         const int la = a.line ? a.line : INT_MAX;
                         const int lb = b.line ? b.line : INT_MAX;
                         return la != lb ? la < lb : a.column < b.column;
                     });
}

std::string DiagnosticList::Format(const std::string& fileName) const
{
    std::string out;
    for (const auto& d : m_Items)
    {
        out += d.file.empty() ? fileName : d.file;
        if (d.line > 0)
            out += ":" + std::to_string(d.line) + ":" + std::to_string(d.column);
        switch (d.severity)
        {
        case Severity::Error:
            out += ": error: ";
            break;
        case Severity::Warning:
            out += ": warning: ";
            break;
        case Severity::Note:
            out += ": note: ";
            break;
        }
        out += d.message;
        out += '\n';
    }
    return out;
}
} // namespace kvotool
