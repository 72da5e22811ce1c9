// Where the loader looks for title.kvo: the path it is given, then the same
// name in each of up to three folders above, for as long as the folder part
// has a parent. Only SEPARATOR splits a path ("\" for the stub). A template
// over the string type, so that the loader walks its wide paths and kvotool
// doctor (through the launch plan) the UTF-8 paths of the folder it inspects
// by the same rule.
#pragma once

constexpr int kMetadataFoldersAbove = 3;

// Calls visit(place) for each place in order until it returns true, and
// returns whether one did. PATH without a separator names no place.
template <class String, class Visit>
bool VisitMetadataPlaces(const String& path, typename String::value_type separator, Visit&& visit)
{
    const auto cut = path.rfind(separator);
    if (cut == String::npos)
        return false;
    String folder = path.substr(0, cut);
    const String name = path.substr(cut + 1);
    String place = path;
    for (int attempt = 0;; ++attempt)
    {
        if (visit(place))
            return true;
        if (attempt == kMetadataFoldersAbove || folder.empty())
            return false;
        const auto up = folder.rfind(separator);
        if (up == String::npos || up == 0)
            return false; // no parent, or an empty one
        folder.erase(up);
        place = folder;
        if (place.back() != separator) // "C:\" keeps its one separator
            place += separator;
        place += name;
    }
}
