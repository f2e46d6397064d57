#include <foundation/messages.h>

#include <atomic>

extern "C" {
int32_t eLang = 0;
volatile char gcInterrupt = 'n';
}

const char *message_format(Msg id)
{
    const MessageRow &row = kMessages[static_cast<size_t>(id)];
    // The variable is the program's as much as ours and has to stay a plain int32_t; semaphores set it from
    // any thread.
    const int32_t language = std::atomic_ref(eLang).load(std::memory_order_relaxed);
    return row.variant[language >= 1 && language <= 4 ? language : 0];
}

void set_language_number(int32_t language)
{
    std::atomic_ref(eLang).store(language, std::memory_order_relaxed);
}
