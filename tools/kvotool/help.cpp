#include "help.h"

namespace kvotool
{
namespace
{
constexpr size_t kWidth = 79;     // terminals' 80 columns, without the last
constexpr size_t kMaxColumn = 24; // longer option names put their text on the next line

// Appends `text` wrapped at kWidth, every line indented by `indent`; the
// first line starts at `column` (already written). Line breaks in the text
// start a new line.
void AppendWrapped(std::string& out, const std::string& text, size_t indent, size_t column)
{
    size_t pos = 0;
    while (pos <= text.size())
    {
        const size_t end = std::min(text.find('\n', pos), text.size());
        size_t at = pos;
        bool first = true;
        while (at < end)
        {
            size_t wordEnd = std::min(text.find(' ', at), end);
            const size_t length = wordEnd - at;
            if (!first && column + 1 + length > kWidth)
            {
                out += '\n' + std::string(indent, ' ');
                column = indent;
                first = true;
            }
            if (!first)
            {
                out += ' ';
                ++column;
            }
            out.append(text, at, length);
            column += length;
            first = false;
            at = wordEnd + 1;
        }
        out += '\n';
        if (end >= text.size())
            break;
        out += std::string(indent, ' ');
        column = indent;
        pos = end + 1;
    }
}

std::string OptionName(const OptionDef& option)
{
    std::string name = "  ";
    if (option.shortName)
        name += std::string("-") + option.shortName + ", ";
    name += std::string("--") + option.longName;
    if (option.takesValue)
        name += std::string(" ") + (option.valueName ? option.valueName : "VALUE");
    return name;
}

// The options, two columns: the column of the texts fits the longest name up
// to kMaxColumn; a longer name has its text on the lines below.
std::string OptionTable(const std::vector<const OptionDef*>& options)
{
    size_t column = 0;
    for (const OptionDef* option : options)
    {
        const size_t length = OptionName(*option).size() + 2;
        if (length <= kMaxColumn && length > column)
            column = length;
    }
    std::string out;
    for (const OptionDef* option : options)
    {
        const std::string name = OptionName(*option);
        out += name;
        if (name.size() + 2 > column)
        {
            out += '\n' + std::string(column, ' ');
        }
        else
            out += std::string(column - name.size(), ' ');
        AppendWrapped(out, option->description ? option->description : "", column, column);
    }
    return out;
}

const OptionDef kVersionOption = {"version", 0, false, nullptr,
                                  "print kvotool's version and the commit it was built from"};
} // namespace

const OptionDef& HelpOption()
{
    static const OptionDef option = {"help", 'h', false, nullptr, "show this text"};
    return option;
}

std::string GeneralHelp(const std::vector<CommandSpec>& commands)
{
    std::string out = "usage: kvotool COMMAND [options] [arguments]\n"
                      "       kvotool --version\n"
                      "\n"
                      "Authors, checks, packs and unpacks the title metadata file title.kvo.\n"
                      "\n"
                      "commands:\n";
    std::vector<std::string> names;
    size_t column = 0;
    for (const CommandSpec& command : commands)
    {
        names.push_back(std::string("  ") + command.name + " " + command.arguments);
        column = std::max(column, names.back().size() + 2);
    }
    for (size_t i = 0; i < commands.size(); ++i)
    {
        out += names[i] + std::string(column - names[i].size(), ' ');
        AppendWrapped(out, commands[i].summary, column, column);
    }
    out += "\noptions:\n" + OptionTable({&HelpOption(), &kVersionOption});
    out += "\n"
           "'kvotool COMMAND --help' (or 'kvotool help COMMAND') describes a command\n"
           "and its options. A file named '-' is standard input, and '-o -' writes\n"
           "standard output. Messages go to standard error. Exit status: 0 all is\n"
           "well, 1 the input has problems, 2 bad command line or a file could not be\n"
           "read or written.\n";
    return out;
}

std::string CommandHelp(const CommandSpec& command)
{
    std::string out =
        std::string("usage: kvotool ") + command.name + " [options] " + command.arguments + "\n\n";
    out += command.description;
    std::vector<const OptionDef*> options;
    for (const OptionDef& option : command.options)
        options.push_back(&option);
    options.push_back(&HelpOption());
    out += "\noptions:\n" + OptionTable(options);
    if (command.epilogue && *command.epilogue)
        out += std::string("\n") + command.epilogue;
    return out;
}
} // namespace kvotool
