#include "app/title_metadata_access.h"

namespace
{
TitleMetadata* g_Metadata = nullptr;

// Deletes the object at process exit, through its virtual destructor.
struct MetadataExitHook
{
    ~MetadataExitHook()
    {
        delete g_Metadata;
        g_Metadata = nullptr;
    }
} g_MetadataExitHook;
} // namespace

void SetTitleMetadata(TitleMetadata* metadata)
{
    TitleMetadata* previous = g_Metadata;
    g_Metadata = metadata;
    if (previous != metadata)
        delete previous;
}

TitleMetadata& TheTitleMetadata()
{
    if (!g_Metadata)
        g_Metadata = CreateTitleMetadata();
    return *g_Metadata;
}
