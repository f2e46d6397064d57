// Texts of error numbers.
#include <tamba/files.h>

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/error.h>
#include <platform/message_text.h>

#include <algorithm>

namespace {

constexpr char kModule[] = "esebcli2.dll"; // the backup client library of the database engine
using ErrorText = FixedText<1024>;

// Traces why the module gave no text.  What it leaves in text one of the later attempts replaces.
void explain_module_failure(PlMessage outcome, uint32_t code, ErrorText *text)
{
    const int32_t reason = pl_last_error().number;
    if (outcome == PlMessage::missing) {
        own_trace("Message 0x%x not found in module esebcli2.dll", code);
        return;
    }
    if (outcome == PlMessage::no_module)
        own_trace("Couldn't load module esebcli2.dll: error code %d", reason);
    else
        own_trace("Calling FormatMessage with 0x%x (module esebcli2.dll) failed: error code %d", code,
                  reason);
    if (pl_system_message(static_cast<uint32_t>(reason), text->data(), text->capacity()) ==
        PlMessage::found) {
        own_trace("Message for last error code %d: %s", reason, text->c_str());
        return;
    }
    own_trace("Subsequent FormatMessage from system failed: %d", pl_last_error().number);
    text->format("got error code %d", reason);
    own_trace("FormatMessage failed: %s", text->c_str());
}

// Asks the module, then the RPC runtime; false when neither knows the code.
bool special_text(uint32_t code, ErrorText *text)
{
    const PlMessage outcome = pl_module_message(kModule, code, text->data(), text->capacity());
    if (outcome == PlMessage::found)
        return true;
    if (outcome == PlMessage::unavailable)
        return false;
    explain_module_failure(outcome, code, text);
    own_trace("May be RPC error code so try DceErrorInqText with 0x%x", code);
    if (pl_rpc_message(code, text->data(), text->capacity()) == PlMessage::found)
        return true;
    own_trace("DceErrorInqText(%x) failed", code);
    own_trace("Try FormatMessage with %x from system", code);
    return false;
}

bool system_text(uint32_t code, ErrorText *text)
{
    if (pl_system_message(code, text->data(), text->capacity()) == PlMessage::found)
        return true;
    char reason[256] = "";
    pl_error_text(pl_last_error().number, reason, sizeof reason);
    own_trace("Calling FormatMessage with %x from system failed: %s > 'Unknown error code'", code, reason);
    text->assign("ESE: Unknown error code");
    return false;
}

} // namespace

int32_t ErrorCodeText(uint32_t code, int32_t size, char *text)
{
    ErrorText found{"ESE: Got unknown error code"};
    const bool known = special_text(code, &found) || system_text(code, &found);
    std::replace_if(
        found.data(), found.data() + found.length(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    copy_text(text, static_cast<size_t>(std::max(size, 0)), found.view());
    return known ? 1 : 0;
}
