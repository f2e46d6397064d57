// Programs of client hosts, and the ways to them: tbc, tb_client, jrsh, rsh, tb_ctrlc.
//
// Script for each of them: work/site/<name>.answer is printed as the whole answer; its first line "exit N" sets the exit
// code.
#include <site/standin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

// True when a script has answered.
bool scripted(const Call &call, int *code)
{
    std::string text;
    if (!read_script(call, "answer", &text))
        return false;
    int used = 0;
    *code = 0;
    std::sscanf(text.c_str(), "exit %d%n", code, &used);
    const size_t begin = used > 0 ? text.find('\n') + 1 : 0;
    std::fwrite(text.data() + begin, 1, text.size() - begin, stdout);
    return true;
}

// All words behind an option: on its way through a control daemon a command loses the quotes that grouped them.
std::string last_words(const Call &call, const std::string &option)
{
    std::string text;
    const auto at = std::find(call.arguments.begin(), call.arguments.end(), option);
    if (at != call.arguments.end())
        for (auto word = at + 1; word != call.arguments.end(); ++word)
            text += (text.empty() ? "" : " ") + *word;
    return text;
}

int answer(const char *status, const std::string &message)
{
    std::printf("STATUS=%s MSG=%s\n", status, message.c_str());
    return 0;
}

} // namespace

// The client agent says its version.
int tbc(const Call &call)
{
    int code = 0;
    if (!scripted(call, &code))
        std::printf("2026-01-01 00:00:00 tbc-3036: VERSION: tbc 1.0.0 (simulated)\n");
    return code;
}

// tb_client -r -f FUNCTION -n NAME [-s VALUE]: variables of this host.
int tb_client(const Call &call)
{
    int code = 0;
    if (scripted(call, &code))
        return code;
    const std::string function = call.option("-f"), name = call.option("-n");
    char value[TAMBA_GLBV_SIZE];
    std::snprintf(value, sizeof value, "%s", last_words(call, "-s").c_str());
    if (function == "GLBVread")
        return answer("SUCCESS", glbv("r", name.c_str(), value));
    if (function == "ReadAndDelete")
        return answer("SUCCESS", glbv("R", name.c_str(), value));
    if (function == "Write")
        return answer("SUCCESS", glbv("w", name.c_str(), value));
    if (function == "usefile")
        return client_file(call);
    if (function == "tapestatus")
        return client_tape(call);
    if (function == "perform")
        return client_performance(call);
    return answer("ERROR", "unknown function " + function);
}

// Remote shells run their last argument here.
int remote_shell(const Call &call)
{
    int code = 0;
    if (scripted(call, &code))
        return code;
    std::fflush(stdout);
    return call.arguments.empty() ? 1 : std::system(call.arguments.back().c_str()) == 0 ? 0 : 1;
}
