#include <platform/directory.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <algorithm>

bool pl_list_files(const char *directory, std::vector<std::string> *names)
{
    names->clear();
    if (pl_fault())
        return false;
    std::string path = directory ? directory : "";
    path += path.empty() || path.ends_with('\\') || path.ends_with('/') ? "*" : "\\*";
    WIN32_FIND_DATAA entry;
    const HANDLE search = FindFirstFileA(path.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) // the root of a volume may hold nothing at all
        return GetLastError() == ERROR_FILE_NOT_FOUND || pl_fail_last();
    do {
        constexpr DWORD kOther = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
        if ((entry.dwFileAttributes & kOther) == 0)
            names->emplace_back(entry.cFileName);
    } while (FindNextFileA(search, &entry));
    const bool complete = GetLastError() == ERROR_NO_MORE_FILES || pl_fail_last();
    FindClose(search);
    if (!complete)
        names->clear();
    std::sort(names->begin(), names->end());
    return complete;
}

bool pl_names_ignore_case()
{
    return true;
}
