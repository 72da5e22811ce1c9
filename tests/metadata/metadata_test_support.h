// Shared helpers of the metadata tests: log capture and document building.
#pragma once

#include "metadata/metadata_log.h"
#include "metadata/title_metadata.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

// Captures the metadata log (every level) while alive.
class MetadataLogCapture
{
public:
    MetadataLogCapture()
    {
        Lines().clear();
        SetMetadataLogCallback(&Take);
    }
    ~MetadataLogCapture() { SetMetadataLogCallback(nullptr); }
    MetadataLogCapture(const MetadataLogCapture&) = delete;
    MetadataLogCapture& operator=(const MetadataLogCapture&) = delete;

    static std::vector<std::string>& Lines()
    {
        static std::vector<std::string> lines;
        return lines;
    }
    static size_t CountOf(const std::string& line)
    {
        return static_cast<size_t>(std::count(Lines().begin(), Lines().end(), line));
    }
    static std::vector<std::string> ErrorsOnly()
    {
        std::vector<std::string> errors;
        for (const std::string& line : Lines())
            if (line.rfind("E ", 0) == 0)
                errors.push_back(line.substr(2));
        return errors;
    }

private:
    // Lines are kept as "<level letter> <text>".
    static int Take(MetadataLogMessage& message)
    {
        static const char letters[] = "AEWDV";
        char letter = message.GetLevel() < 5 ? letters[message.GetLevel()] : '?';
        Lines().push_back(std::string(1, letter) + " " + message.GetText());
        return 0;
    }
};

// The seven required members, then `extra` (a list of members, or empty).
inline std::string Document(const std::string& extra = "")
{
    std::string text = "{\"titleId\": \"tavrin.test\", \"friendlyName\": \"Test Title\", "
                       "\"principalFileName\": \"Test.exe\", \"appdataFolderName\": \"TestData\", "
                       "\"installFolderRegKey\": \"SOFTWARE\\\\Tavrin\\\\Test\", "
                       "\"installFolderRegValueName\": \"InstallFolder\", \"languages\": [\"en\"]";
    if (!extra.empty())
        text += ", " + extra;
    return text + "}";
}

inline std::unique_ptr<TitleMetadata> NewMetadata()
{
    return std::unique_ptr<TitleMetadata>(CreateTitleMetadata());
}

inline uint32_t Load(TitleMetadata& metadata, const std::string& text)
{
    return metadata.LoadFromMemory(text.data(), static_cast<uint32_t>(text.size()));
}

inline std::vector<std::string> Texts(const TextList& list)
{
    std::vector<std::string> out;
    for (const char* item : list)
        out.push_back(item);
    return out;
}
