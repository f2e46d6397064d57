// Every message of the table, in every language, on its way to the protocol.
#include "tests/support/test_site.h"

#include <foundation/messages.h>

namespace {

using MessageTable = TestSite;

int32_t (*const any_prot)(const char *, ...) = PROT;
int (*const any_print)(char *, size_t, const char *, ...) = std::snprintf;

// Calls sink with an argument for each conversion of format.
template <class Sink, class... Arguments>
void with_arguments(std::string_view format, size_t at, Sink sink, Arguments... arguments)
{
    const char conversion = next_conversion(format, at);
    if (conversion == 0)
        sink(arguments...);
    else if constexpr (sizeof...(arguments) < 8) {
        if (conversion == 's')
            with_arguments(format, at, sink, arguments..., "text");
        else
            with_arguments(format, at, sink, arguments..., int{'7'});
    } else {
        FAIL() << "more conversions than this test knows: " << format;
    }
}

TEST_F(MessageTable, EveryMessageReachesTheProtocolInTheLanguageThatIsSet)
{
    for (const int32_t language : {0, 1, 2, 3, 4, 7, -1})
        for (size_t id = 0; id < static_cast<size_t>(Msg::count); ++id) {
            const MessageRow &row = kMessages[id];
            eLang = language;
            const char *const format = message_format(static_cast<Msg>(id));
            EXPECT_STREQ(format, row.variant[language >= 1 && language <= 4 ? language : 0]);
            if (!has_tag(format))
                continue;
            char expected[1024];
            write("prot.txt", "");
            with_arguments(format, 0, [&](auto... arguments) {
                any_print(expected, sizeof expected, format, arguments...);
                any_prot(format, arguments...);
            });
            const std::string line = protocol();
            EXPECT_EQ(line.substr(24, 12), std::string(expected, 12));
            EXPECT_EQ(line.substr(line.find("]: ") + 3), std::string(expected + 13) + "\n") << language;
        }
}

} // namespace
