// Runs a document through the library's writer into a string of exact size.
#pragma once

#include "json/json_writer.h"

#include <functional>
#include <string>

namespace kvotool
{
// Calls `emit` once measuring and once writing into a buffer of the measured
// size, so documents of any size fit (the writer's own growable buffer stops
// at 256 KiB). False when the writer failed or the document is unfinished;
// the writer's messages are in the captured log lines then.
bool WriteDocumentText(bool equalsSyntax, bool pretty, const std::function<void(JsonWriter&)>& emit,
                       std::string& text);
} // namespace kvotool
