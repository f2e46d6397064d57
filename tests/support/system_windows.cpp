#include "tests/support/system.h"

#include <algorithm>
#include <windows.h>

#include <sddl.h>

uint32_t open_handles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

void remove_registry(const std::string &name)
{
    if (name.empty())
        return;
    std::string key = name;
    std::replace(key.begin(), key.end(), '\\', '/');
    RegDeleteTreeA(HKEY_CURRENT_USER, ("Software\\Korvel\\tamba test kit\\" + key).c_str());
}

void suspend_this_process()
{
    SuspendThread(GetCurrentThread()); // its main thread is what counts
}

size_t large_size(size_t emulated, size_t)
{
    return emulated;
}

bool has_zombies()
{
    return false; // what remains of a process is a handle, and those are counted
}

// A list of rights as text: "OW" owner rights are not known everywhere, so the owner is named.
static bool set_rights(const std::string &file, const char *others)
{
    HANDLE token = nullptr;
    alignas(TOKEN_USER) unsigned char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof user;
    char *sid = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    bool done = OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) &&
                GetTokenInformation(token, TokenUser, user, size, &size) &&
                ConvertSidToStringSidA(reinterpret_cast<TOKEN_USER *>(user)->User.Sid, &sid);
    if (done) {
        const std::string text = std::string("D:P(A;;FA;;;") + sid + ")" + others;
        done = ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1,
                                                                    &descriptor, nullptr) &&
               SetFileSecurityA(file.c_str(), DACL_SECURITY_INFORMATION, descriptor);
    }
    LocalFree(descriptor);
    LocalFree(sid);
    CloseHandle(token);
    return done;
}

bool make_private(const std::string &file)
{
    return set_rights(file, "");
}

bool make_public(const std::string &file)
{
    return set_rights(file, "(A;;FR;;;WD)");
}
