#include <platform/directory.h>

#include <utility>

bool pl_list_files(const char *directory, std::vector<std::string> *names)
{
    names->clear();
    std::vector<PlEntry> entries;
    if (!pl_list_entries(directory, &entries))
        return false;
    for (PlEntry &entry : entries)
        if (entry.kind == PlEntryKind::file)
            names->push_back(std::move(entry.name));
    return true;
}
