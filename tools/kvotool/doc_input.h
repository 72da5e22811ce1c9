// Reading one input file: recognition of plain JSON or container, and the
// decryption of a container, with the reasons when that fails.
#pragma once

#include "diagnostics.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvotool
{
enum class InputKind
{
    Unknown,
    PlainJson,
    Container,
    PayloadText, // a text judged as the content of a container
};

struct InputDocument
{
    std::string path;
    std::string bytes; // the file as read
    InputKind kind = InputKind::Unknown;
    std::string text; // the document text (decrypted for a container)
    // The bytes the stub's own load gets: the file itself, or, when the tool
    // was given another key, the text in a container under the built-in key,
    // so the load runs exactly the stub's path.
    std::string stubBytes;
    // What the metadata library logged while opening the file: internals
    // (crypto library errors and the like), shown with -v only.
    std::vector<std::string> log;
    // A container whose IV is not the one the encoder derives from its text:
    // made by another tool, or damaged.
    bool foreignIv = false;
};

enum class InputResult
{
    Ok,       // text available
    Problems, // the file was read but holds no usable text; reasons in the list
    IoError,  // the file could not be read; reason in the list
};

// `key` is null for the key built into the tool, else 32 bytes. With
// `payloadText` a file that is no container is taken as the text to go into
// one (the equals syntax is read only there): the stub's view is then that of
// the packed file.
InputResult LoadInput(const std::string& path, const uint8_t* key, InputDocument& doc, DiagnosticList& diags,
                      bool payloadText = false);

// True (and says so on standard error) when BYTES, to be written to OUT by
// COMMAND, are more than the stub reads: nothing is written then.
bool RefuseUnreadableOutput(const char* command, const std::string& out, size_t bytes);

// Makes the container of a text with the library's own encoder, under `key`
// (32 bytes) or, when it is null, the built-in key. False, with a message,
// when encryption failed.
bool MakeContainer(const std::string& text, const uint8_t* key, std::string& container, std::string& error);
} // namespace kvotool
