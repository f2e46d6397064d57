#include <foundation/messages.h>

extern "C" {
int32_t eLang = 0;
volatile char gcInterrupt = 'n';
}

const char *message_format(Msg id)
{
    const MessageRow &row = kMessages[static_cast<size_t>(id)];
    const int32_t language = eLang;
    return row.variant[language >= 1 && language <= 4 ? language : 0];
}
