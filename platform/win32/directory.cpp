#include <platform/directory.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <algorithm>
#include <cstring>

namespace {

PlEntryKind kind_of(const WIN32_FIND_DATAA &entry)
{
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return (entry.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) == 0 ? PlEntryKind::file : PlEntryKind::other;
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 ? PlEntryKind::directory
                                                                        : PlEntryKind::other;
}

} // namespace

bool pl_list_entries(const char *directory, std::vector<PlEntry> *entries)
{
    entries->clear();
    if (pl_fault())
        return false;
    std::string path = directory ? directory : "";
    if (path.empty())
        return pl_fail(ERROR_PATH_NOT_FOUND);
    path += path.ends_with('\\') || path.ends_with('/') ? "*" : "\\*";
    WIN32_FIND_DATAA entry;
    const HANDLE search = FindFirstFileA(path.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) // the root of a volume may hold nothing at all
        return GetLastError() == ERROR_FILE_NOT_FOUND || pl_fail_last();
    do {
        if (std::strcmp(entry.cFileName, ".") != 0 && std::strcmp(entry.cFileName, "..") != 0)
            entries->push_back({entry.cFileName, kind_of(entry)});
    } while (FindNextFileA(search, &entry));
    const bool complete = GetLastError() == ERROR_NO_MORE_FILES || pl_fail_last();
    FindClose(search);
    if (!complete)
        entries->clear();
    std::sort(entries->begin(), entries->end(),
              [](const PlEntry &a, const PlEntry &b) { return a.name < b.name; });
    return complete;
}

bool pl_free_space(const char *directory, uint64_t *bytes)
{
    if (pl_fault())
        return false;
    ULARGE_INTEGER available;
    if (!GetDiskFreeSpaceExA(directory ? directory : "", &available, nullptr, nullptr))
        return pl_fail_last();
    *bytes = available.QuadPart;
    return true;
}

bool pl_names_ignore_case()
{
    return true;
}
