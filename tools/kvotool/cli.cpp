#include "cli.h"

#include "suggest.h"

namespace kvotool
{
namespace
{
const OptionSpec* FindLong(const std::vector<OptionSpec>& specs, const std::string& name)
{
    for (const auto& spec : specs)
        if (name == spec.longName)
            return &spec;
    return nullptr;
}

const OptionSpec* FindShort(const std::vector<OptionSpec>& specs, char c)
{
    for (const auto& spec : specs)
        if (spec.shortName && spec.shortName == c)
            return &spec;
    return nullptr;
}

std::string UnknownOption(const std::vector<OptionSpec>& specs, const std::string& given)
{
    std::string error = "unknown option '" + given + "'";
    std::vector<std::string> names;
    for (const auto& spec : specs)
        names.push_back(std::string("--") + spec.longName);
    std::string closest = ClosestMatch(given, names);
    if (!closest.empty())
        error += "; did you mean '" + closest + "'?";
    return error;
}

void Store(ParsedArguments& parsed, const OptionSpec& spec, const std::string& value)
{
    if (spec.takesValue)
        parsed.values[spec.longName] = value;
    else
        ++parsed.flags[spec.longName];
}
} // namespace

bool ParseArguments(const std::vector<std::string>& args, size_t start, const std::vector<OptionSpec>& specs,
                    ParsedArguments& parsed, std::string& error)
{
    bool optionsEnded = false;
    for (size_t i = start; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-')
        {
            parsed.positionals.push_back(arg);
            continue;
        }
        if (arg == "--")
        {
            optionsEnded = true;
            continue;
        }
        const OptionSpec* spec = nullptr;
        std::string value;
        bool inlineValue = false;
        if (arg[1] == '-')
        {
            std::string name = arg.substr(2);
            size_t eq = name.find('=');
            if (eq != std::string::npos)
            {
                value = name.substr(eq + 1);
                name.resize(eq);
                inlineValue = true;
            }
            spec = FindLong(specs, name);
            if (!spec)
            {
                error = UnknownOption(specs, "--" + name);
                return false;
            }
            if (inlineValue && !spec->takesValue)
            {
                error = "option '--" + name + "' takes no value";
                return false;
            }
        }
        else
        {
            spec = FindShort(specs, arg[1]);
            if (!spec)
            {
                error = UnknownOption(specs, arg);
                return false;
            }
            if (arg.size() > 2)
            {
                if (!spec->takesValue)
                {
                    error = "option '-" + std::string(1, arg[1]) + "' takes no value";
                    return false;
                }
                value = arg.substr(2);
                inlineValue = true;
            }
        }
        if (spec->takesValue && !inlineValue)
        {
            if (i + 1 >= args.size())
            {
                error = "option '--" + std::string(spec->longName) + "' needs a value";
                return false;
            }
            value = args[++i];
        }
        if (spec->takesValue && parsed.values.count(spec->longName))
        {
            error = "option '--" + std::string(spec->longName) + "' given twice";
            return false;
        }
        Store(parsed, *spec, value);
    }
    return true;
}

bool ParseHexKey(const std::string& text, uint8_t key[32])
{
    if (text.size() != 64)
        return false;
    for (size_t i = 0; i < 32; ++i)
    {
        int byte = 0;
        for (size_t k = 0; k < 2; ++k)
        {
            char c = text[2 * i + k];
            int digit;
            if (c >= '0' && c <= '9')
                digit = c - '0';
            else if (c >= 'a' && c <= 'f')
                digit = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                digit = c - 'A' + 10;
            else
                return false;
            byte = byte * 16 + digit;
        }
        key[i] = static_cast<uint8_t>(byte);
    }
    return true;
}
} // namespace kvotool
