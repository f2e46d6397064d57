// The redirection of a command's streams.
#include <process/remote_cmd.h>

#include <foundation/messages.h>

#include <algorithm>

int32_t HAL_REDIR(const char *stdinfile, const char *outfile, const char *errfile, char *buffer, int32_t size)
{
    stdinfile = text_or_empty(stdinfile);
    outfile = text_or_empty(outfile);
    errfile = *text_or_empty(errfile) ? errfile : outfile;
    std::string text;
    if (*outfile && std::string_view(outfile) != "STDOUT")
        text = std::string_view(outfile) == errfile ? format_string("1>>%s 2>>&1", outfile)
                                                    : format_string("1>>%s 2>>%s", outfile, errfile);
    if (*stdinfile)
        text += format_string(" <%s", stdinfile);
    if (text.size() >= static_cast<size_t>(std::max(size, 0))) {
        prot_message<Msg::kRedirectionOverflow>(outfile, errfile);
        copy_text(buffer, static_cast<size_t>(std::max(size, 0)), "");
        return -1;
    }
    copy_text(buffer, static_cast<size_t>(size), text);
    return static_cast<int32_t>(text.size());
}

bool redirection_of(const RemoteTarget &target, std::string *redirection)
{
    char buffer[2048];
    const bool fits = HAL_REDIR(target.input.c_str(), target.writes_file() ? target.output.c_str() : "STDOUT",
                                target.errors.c_str(), buffer, sizeof buffer) >= 0;
    *redirection = buffer;
    return fits;
}
