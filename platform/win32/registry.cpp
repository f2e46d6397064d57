// The registry itself, in its 64-bit view.  With the environment variable TAMBA_REGISTRY the keys stand below a key of
// that name in the user's part instead, so that tests and simulated sites leave the machine's settings alone.
#include <platform/registry.h>

#include <platform/fault.h>
#include <platform/process.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr char kTestKit[] = "Software\\Korvel\\tamba test kit\\";
constexpr size_t kKeyNameSize = 256;
constexpr int kWriteTries = 100;

struct Place {
    HKEY root;
    std::string path;
};

Place place_of(const char *key)
{
    Place place{HKEY_LOCAL_MACHINE, ""};
    const char *const site = pl_getenv("TAMBA_REGISTRY");
    if (site && *site) {
        place = {HKEY_CURRENT_USER, kTestKit};
        for (const char *c = site; *c; ++c)
            place.path += *c == '\\' ? '/' : *c; // one key, also for a path
        place.path += '\\';
    }
    // The system refuses empty names between separators.
    for (std::string_view rest = key; !rest.empty();) {
        const std::string_view name = rest.substr(0, rest.find('\\'));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (!name.empty())
            place.path.append(name).append("\\");
    }
    if (!place.path.empty())
        place.path.pop_back();
    return place;
}

class Key {
public:
    Key() = default;
    ~Key()
    {
        if (key_)
            RegCloseKey(key_);
    }
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;

    bool open(const char *key)
    {
        const Place place = place_of(key);
        const LSTATUS status =
            RegOpenKeyExA(place.root, place.path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &key_);
        // One number for a missing key and a missing value: the kind tells them apart.
        return status == ERROR_FILE_NOT_FOUND ? pl_fail(PL_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND)
                                              : good(status);
    }

    bool create(const char *key)
    {
        const Place place = place_of(key);
        return good(RegCreateKeyExA(place.root, place.path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                    KEY_WRITE | KEY_WOW64_64KEY, nullptr, &key_, nullptr));
    }

    bool set(const char *value, DWORD type, const void *data, size_t size)
    {
        return good(
            RegSetValueExA(key_, value, 0, type, static_cast<const BYTE *>(data), static_cast<DWORD>(size)));
    }

    HKEY get() const { return key_; }

    static bool good(LSTATUS status)
    {
        return status == ERROR_SUCCESS || pl_fail(static_cast<uint32_t>(status));
    }

private:
    HKEY key_ = nullptr;
};

// The whole value, however long; another process may change it between two looks.
bool query(const Key &key, const char *value, DWORD *type, std::string *data)
{
    data->resize(512);
    for (;;) {
        DWORD size = static_cast<DWORD>(data->size());
        const LSTATUS status =
            RegQueryValueExA(key.get(), value, nullptr, type, reinterpret_cast<BYTE *>(data->data()), &size);
        if (status == ERROR_MORE_DATA) {
            data->resize(std::max<size_t>(size, data->size() * 2));
            continue;
        }
        data->resize(status == ERROR_SUCCESS ? size : 0);
        return Key::good(status);
    }
}

// A key that somebody deletes between the two calls is made again.
bool write_value(const char *key, const char *value, DWORD type, const void *data, size_t size)
{
    for (int tries = 1;; ++tries) {
        Key open;
        if (open.create(key) && open.set(value, type, data, size))
            return true;
        if (pl_last_error().number != ERROR_KEY_DELETED || tries == kWriteTries)
            return false;
    }
}

} // namespace

bool pl_reg_read(const char *key, const char *value, char *out, size_t size)
{
    if (size > 0)
        out[0] = '\0';
    Key open;
    DWORD type = REG_NONE;
    std::string data;
    if (pl_fault() || !open.open(key) || !query(open, value, &type, &data))
        return false;
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        return pl_fail(ERROR_FILE_NOT_FOUND);
    // Whether the text has a terminator is its writer's affair.
    const auto length = static_cast<size_t>(std::snprintf(out, size, "%s", data.c_str()));
    return length < size || pl_fail(ERROR_MORE_DATA);
}

bool pl_reg_write(const char *key, const char *value, const char *text)
{
    return !pl_fault() && write_value(key, value, REG_SZ, text, std::strlen(text) + 1);
}

bool pl_reg_write_number(const char *key, const char *value, uint32_t number)
{
    return !pl_fault() && write_value(key, value, REG_DWORD, &number, sizeof number);
}

bool pl_reg_read_number(const char *key, const char *value, uint32_t *number)
{
    Key open;
    DWORD type = REG_NONE;
    std::string data;
    if (pl_fault() || !open.open(key) || !query(open, value, &type, &data))
        return false;
    if (type != REG_DWORD || data.size() != sizeof *number)
        return pl_fail(ERROR_FILE_NOT_FOUND);
    std::memcpy(number, data.data(), sizeof *number);
    return true;
}

bool pl_reg_delete_key(const char *key)
{
    if (pl_fault())
        return false;
    const Place place = place_of(key);
    return Key::good(RegDeleteKeyExA(place.root, place.path.c_str(), KEY_WOW64_64KEY, 0));
}

bool pl_reg_subkeys(const char *key, std::vector<std::string> *names)
{
    names->clear();
    Key open;
    if (pl_fault() || !open.open(key))
        return false;
    char found[kKeyNameSize];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof found;
        const LSTATUS status =
            RegEnumKeyExA(open.get(), index, found, &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS)
            return status == ERROR_NO_MORE_ITEMS || Key::good(status);
        names->emplace_back(found, length);
    }
}
