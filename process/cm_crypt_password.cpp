// Passwords of clients, as their agents understand them.
#include <process/crypt.h>

#include <db/rows.h>
#include <db/sql.h>
#include <foundation/ini.h>
#include <foundation/secret.h>
#include <foundation/trace_scope.h>
#include <platform/private_file.h>

#include <algorithm>

namespace {

constexpr char kStandardPassword[] = "qemlo";
constexpr size_t kLongestKey = 1024;

struct Key {
    char text[kLongestKey + 1];
};

struct ClearText {
    char text[kClearSize];
};

// The system's own key; false when there is none that only the service can read.
bool read_own_key(Key *key, TraceScope &scope)
{
    const auto fail = [&](const char *file, const char *reason) {
        scope.note("ERROR: no key of the system: %s%s", file, reason);
        return false;
    };
    FixedText<1024> file, reason;
    const IniFile ini = IniFile::of_system(nullptr, reason.data(), reason.capacity());
    if (!ini.loaded() ||
        !ini.read("[Params]", "tbc_key_file", file.data(), file.capacity(), reason.data(), reason.capacity()))
        return fail("tbc_key_file of [Params] cannot be read: ", reason.c_str());
    size_t length = 0;
    switch (pl_read_private_file(file.c_str(), key->text, kLongestKey, &length)) {
    case PlPrivate::read:
        break;
    case PlPrivate::unreadable:
        return fail(file.c_str(), " cannot be read");
    case PlPrivate::exposed:
        return fail(file.c_str(), " can be read by others: only its owner may have rights on it");
    }
    key->text[length] = '\0';
    key->text[std::strcspn(key->text, "\r\n")] = '\0';
    return *key->text != '\0' || fail(file.c_str(), " holds no key");
}

bool encipher_anew(const char *text, const char *pass_phrase, char *out, TraceScope &scope)
{
    copy_text(out, TAMBA_CIPHER_SIZE, "");
    Secret<Key> key;
    Secret<ClearText> clear;
    if (!read_own_key(&*key, scope))
        return false;
    if (!decipher(text, key->text, clear->text)) {
        scope.note("ERROR: the text is not enciphered with the key of the system");
        return false;
    }
    crypt_encrypt(out, clear->text, std::strlen(clear->text), pass_phrase);
    return true;
}

// The password of a row, between braces; "" when it cannot be enciphered.
bool give_password(const char *stored, const char *pass_phrase, char *out, TraceScope &scope)
{
    char cipher[TAMBA_CIPHER_SIZE];
    const bool done = encipher_anew(stored, pass_phrase, cipher, scope);
    if (done)
        format_text(out, TAMBA_CIPHER_SIZE, "{%s}", cipher);
    else
        scope.note("ERROR: encryption of Netware password failed");
    return done;
}

} // namespace

int32_t i_TBC_ENCRYPT(const char *text, const char *pass_phrase, char *out, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ TBC_ENCRYPT");
    char own[TAMBA_CIPHER_SIZE]; // the caller may have no interest
    const bool done = encipher_anew(text_or_empty(text), text_or_empty(pass_phrase), out ? out : own, scope);
    return scope.leave(done ? 1 : 0, "--- TBC_ENCRYPT returns %d", done ? 1 : 0);
}

int32_t i_GET_NETWARE_PASSWORD(const char *client, char *user_out, const char *pass_phrase, char *out,
                               TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ GET_NETWARE_PASSWORD  client=%s", text_or_empty(client));
    copy_text(user_out, TAMBA_USER_SIZE, "");
    copy_text(out, TAMBA_CIPHER_SIZE, "");
    Rows rows("NetwarePassword", scope.context());
    if (rows.find("GET_NETWARE_PASSWORD", "select password,user_name from clients where name='%s'",
                  SqlText(client).c_str()) == Found::unreadable)
        return scope.leave(0, "--- GET_NETWARE_PASSWORD returns 0  %s", rows.message());
    FixedText<1024> stored;
    FixedText<TAMBA_USER_SIZE> user;
    if (!rows.empty()) {
        rows.text(1, "password", stored);
        rows.text(1, "user_name", user);
    }
    if (!is_null(user.view()))
        copy_text(user_out, TAMBA_USER_SIZE, user.view());
    bool done = true;
    if (!is_null(stored.view())) {
        done = give_password(stored.c_str(), text_or_empty(pass_phrase), out, scope);
    } else { // the password itself is nobody's business
        scope.note("WARNING: Didn't get a passwd from clients.password. Use standard: %s", "*****");
        copy_text(out, TAMBA_CIPHER_SIZE, kStandardPassword);
    }
    return scope.leave(done ? 1 : 0, "--- GET_NETWARE_PASSWORD returns %d", done ? 1 : 0);
}
