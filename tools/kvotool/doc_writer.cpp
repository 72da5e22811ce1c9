#include "doc_writer.h"

#include <vector>

namespace kvotool
{
bool WriteDocumentText(bool equalsSyntax, bool pretty, const std::function<void(JsonWriter&)>& emit,
                       std::string& text)
{
    JsonWriter measure;
    measure.Init(nullptr, 0, equalsSyntax);
    measure.SetPretty(pretty);
    emit(measure);
    if (measure.HasFailed() || measure.GetDepth() != 0 || measure.GetLength() < 0 ||
        measure.GetLength() >= 0x7FFFFFFF)
        return false;
    std::vector<char> buffer(static_cast<size_t>(measure.GetLength()) + 1);
    JsonWriter writer;
    writer.Init(buffer.data(), static_cast<int32_t>(buffer.size()), equalsSyntax);
    writer.SetPretty(pretty);
    emit(writer);
    if (writer.HasFailed() || writer.GetDepth() != 0)
        return false;
    text.assign(writer.GetBuffer(), static_cast<size_t>(writer.GetLength()));
    return true;
}
} // namespace kvotool
