#include <platform/private_file.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <aclapi.h>
#include <memory>

namespace {

struct FreeLocal {
    void operator()(void *block) const { LocalFree(block); }
};

struct Sid {
    alignas(SID) unsigned char bytes[SECURITY_MAX_SID_SIZE];
    PSID get() { return bytes; }
};

// Who runs this program.
bool own_user(Sid *sid)
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return pl_fail_last();
    const OwnedHandle owned(token);
    alignas(TOKEN_USER) unsigned char buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof buffer;
    return (GetTokenInformation(token, TokenUser, buffer, size, &size) &&
            CopySid(sizeof sid->bytes, sid->get(), reinterpret_cast<TOKEN_USER *>(buffer)->User.Sid)) ||
           pl_fail_last();
}

bool is_well_known(PSID sid)
{
    return IsWellKnownSid(sid, WinLocalSystemSid) || IsWellKnownSid(sid, WinBuiltinAdministratorsSid) ||
           IsWellKnownSid(sid, WinCreatorOwnerRightsSid);
}

// Whether an entry lets nobody in whom the file is not for.
bool is_harmless(const ACE_HEADER *entry, PSID user)
{
    constexpr DWORD kReading = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL | WRITE_DAC | WRITE_OWNER;
    if ((entry->AceFlags & INHERIT_ONLY_ACE) != 0 || entry->AceType == ACCESS_DENIED_ACE_TYPE)
        return true;
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE)
        return false;
    auto *const allowed = reinterpret_cast<const ACCESS_ALLOWED_ACE *>(entry);
    const PSID sid = const_cast<DWORD *>(&allowed->SidStart);
    return (allowed->Mask & kReading) == 0 || EqualSid(sid, user) || is_well_known(sid);
}

PlPrivate exposure_of(const OwnedHandle &file)
{
    PSID owner = nullptr;
    PACL entries = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(file.get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                        &owner, nullptr, &entries, nullptr, &descriptor);
    const std::unique_ptr<void, FreeLocal> kept(descriptor);
    Sid user;
    if (error != ERROR_SUCCESS) {
        pl_fail(error);
        return PlPrivate::unreadable;
    }
    if (!own_user(&user))
        return PlPrivate::unreadable;
    if (!entries || !owner ||
        !(EqualSid(owner, user.get()) || is_well_known(owner))) // no list lets everybody in
        return PlPrivate::exposed;
    for (DWORD i = 0; i < entries->AceCount; ++i) {
        void *entry = nullptr;
        if (!GetAce(entries, i, &entry) || !is_harmless(static_cast<ACE_HEADER *>(entry), user.get()))
            return PlPrivate::exposed;
    }
    return PlPrivate::read;
}

} // namespace

PlPrivate pl_read_private_file(const char *path, char *out, size_t size, size_t *length)
{
    if (pl_fault())
        return PlPrivate::unreadable;
    const OwnedHandle file(CreateFileA(path ? path : "", GENERIC_READ | READ_CONTROL, FILE_SHARE_READ,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        pl_fail_last();
        return PlPrivate::unreadable;
    }
    if (const PlPrivate found = exposure_of(file); found != PlPrivate::read)
        return found;
    DWORD got = 0;
    if (!ReadFile(file.get(), out, static_cast<DWORD>(size), &got, nullptr)) {
        pl_fail_last();
        return PlPrivate::unreadable;
    }
    *length = got;
    return PlPrivate::read;
}
