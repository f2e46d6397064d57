// Settings in the registry.
#include <foundation/registry_value.h>

#include <foundation/text.h>
#include <platform/error.h>
#include <platform/registry.h>
#include <tamba/config.h>

namespace {

constexpr size_t kKeySize = 128; // keys are cut at 127 characters

} // namespace

bool read_registry_value(const char *key, const char *value_name, char *out, size_t size, char *err,
                         size_t err_size)
{
    const FixedText<kKeySize> bounded_key(text_or_empty(key));
    // PL_MORE_DATA: the text was longer than the buffer, which holds its beginning.
    if (pl_reg_read(bounded_key.c_str(), text_or_empty(value_name), out, size) ||
        pl_last_error().kind == PL_MORE_DATA)
        return true;
    copy_text(err, err_size,
              format_string("i_GET_REG_VALUE: registry HKEY_LOCAL_MACHINE\\%s - %s not found",
                            bounded_key.c_str(), text_or_empty(value_name)));
    return false;
}

int32_t i_GET_REG_VALUE(const char *key, const char *value_name, char *out, int32_t out_size, char *err,
                        int32_t err_size)
{
    return read_registry_value(key, value_name, out, out_size > 0 ? static_cast<size_t>(out_size) : 0, err,
                               err_size > 0 ? static_cast<size_t>(err_size) : 0);
}
