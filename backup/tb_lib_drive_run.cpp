// Running a drive's programs: as children of this process, or on the host that has the drive.
#include <backup/drive.h>

#include <foundation/lines.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <process/pipe_line.h>
#include <tamba/client.h>
#include <tamba/config.h>
#include <tamba/pipes.h>
#include <tamba/remote.h>

#include <atomic>
#include <iterator>

namespace {

// In the order in which they count.
constexpr int32_t kCodes[] = {1011, 1013, 1014, 1024, 3003, 3019};
constexpr size_t kPieceSize = 4096;
constexpr int32_t kWasSuspended = 109; // ended with 0; what it said may be cut

// A code stands alone: digits that end a longer number, a path or a name are none.
bool holds_code(std::string_view line, int32_t code)
{
    const std::string word = std::to_string(code) + ":";
    for (size_t at = line.find(word); at != line.npos; at = line.find(word, at + 1)) {
        const char before = at > 0 ? ascii_lower(line[at - 1]) : ' ';
        const bool joined = is_digit(before) || (before >= 'a' && before <= 'z') ||
                            std::string_view("/\\_.").find(before) != std::string_view::npos;
        if (!joined)
            return true;
    }
    return false;
}

std::string_view without_quotes(std::string_view text)
{
    if (text.starts_with('"'))
        text.remove_prefix(1);
    if (text.ends_with('"'))
        text.remove_suffix(1);
    return text;
}

std::string program_of(const std::string &command)
{
    return command.substr(0, command.find(' '));
}

// problem: why a program that did not end well has no message of its own.
void conclude(const ProgramOutput &output, bool ended_well, const char *problem, const std::string &command,
              ProgramAnswer *answer)
{
    const ResultLines &result = output.result();
    const bool says_success = result.status().view() == "SUCCESS";
    answer->success = ended_well && says_success;
    answer->tagged = result.found();
    answer->code = output.code();
    if (!ended_well && (says_success || result.message().empty()))
        answer->text.assign(problem);
    else if (result.has_message())
        answer->text.assign(without_quotes(result.message().view()));
    else
        answer->text.format("No tag [MSG=] found in %s", program_of(command).c_str());
}

// Reads what a program prints to its end.  What stands behind the last line feed counts, too: whether it is whole is
// decided by how the program ended.
void read_output(PIPE *pipe, ProgramOutput *output, TraceScope &scope)
{
    char piece[kPieceSize + 1];
    while (read_terminated_line(pipe, piece)) {
        scope.fine("%s", piece);
        output->take(piece);
    }
    if (*piece != '\0')
        output->take(piece);
}

bool read_file(const char *path, ProgramOutput *output)
{
    FILE *const file = pl_fopen(path, "rb");
    if (!file)
        return false;
    char line[kPieceSize];
    while (read_line(file, line, sizeof line)) {
        const std::string_view text = line;
        output->take(text.substr(0, text.find('\n')));
    }
    const bool read = std::ferror(file) == 0;
    return pl_fclose(file) == 0 && read;
}

// A file for what one command says; it is removed behind it unless every step is traced.
class ResultFile {
public:
    ResultFile(const char *base, const TraceContext &trace) : keep_(trace.level >= kTraceFine)
    {
        static std::atomic<int32_t> count{0}; // threads of one process work on several drives
        BUILD_RSHFILE(path_, name_, format_string("%s_%d", base, ++count).c_str(),
                      static_cast<int32_t>(pl_process_id()));
    }
    ~ResultFile()
    {
        if (!keep_)
            pl_remove(path_);
    }
    ResultFile(const ResultFile &) = delete;
    ResultFile &operator=(const ResultFile &) = delete;

    const char *path() const { return path_; }
    const char *name() const { return name_; }

private:
    const bool keep_;
    char path_[TAMBA_RSH_PATH_SIZE], name_[TAMBA_RSH_NAME_SIZE];
};

} // namespace

void ProgramOutput::take(std::string_view line)
{
    if (!complete_)
        complete_ = !result_.take(line);
    for (size_t i = 0; i < std::size(kCodes); ++i)
        if (holds_code(line, kCodes[i]))
            codes_ |= 1u << i;
}

int32_t ProgramOutput::code() const
{
    for (size_t i = 0; i < std::size(kCodes); ++i)
        if ((codes_ & 1u << i) != 0)
            return kCodes[i];
    return 0;
}

bool is_plain_path(std::string_view path)
{
    std::string word(path);
    for (char &c : word)
        c = c == '\\' ? '/' : c;
    return is_plain_word(word);
}

bool is_plain_host(std::string_view host)
{
    return is_plain_word(host) && host.find('/') == host.npos;
}

bool can_be_commanded(const DriveProperties &drive, DriveMessage *msg)
{
    const bool has_size = *drive.block_size != '\0';
    const struct {
        const char *what, *value;
        bool plain;
    } words[] = {
        {"device", drive.device, is_plain_path(drive.device)},
        {"host", drive.host, is_plain_host(drive.host)},
        {"timeout", drive.timeout, is_number(drive.timeout)},
        {"block size", drive.block_size, !has_size || is_number(drive.block_size)},
    };
    for (const auto &word : words)
        if (!word.plain) {
            msg->format("drive %s: %s \"%s\" cannot stand in a command", drive.drive_num, word.what,
                        word.value);
            return false;
        }
    return true;
}

ProgramAnswer run_in_pipe(const std::string &command, TraceContext &trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ RUN_IN_PIPE  %s", command.c_str());
    ProgramAnswer answer;
    PIPE pipe{};
    if (const int32_t set = i_setenv_tamba(command.c_str()); set != 1)
        scope.note("WARNING: i_setenv_tamba returned %d", set);
    if (iPIPE_OPEN(command.c_str(), "r", answer.text.data(), TAMBA_DRIVE_MSG_SIZE, &pipe) == 1) {
        answer.started = true;
        ProgramOutput output;
        read_output(&pipe, &output, scope);
        const int32_t code = iPIPE_CLOSE(&pipe);
        // A program that was suspended meanwhile has ended well when its answer is whole.
        const bool whole = output.result().has_status() && output.result().has_message();
        conclude(output, code == 0 || (code == kWasSuspended && whole),
                 format_string("%s ended with exit code %d", program_of(command).c_str(), code).c_str(),
                 command, &answer);
    }
    scope.leave(answer.success ? 1 : 0, "--- RUN_IN_PIPE returns %d  code:%d  msg:%s", answer.success ? 1 : 0,
                answer.code, answer.text.c_str());
    return answer;
}

ProgramAnswer run_on_host(const char *host, const char *base, const std::string &command, TraceContext &trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ RUN_ON_HOST  %s  %s", host, command.c_str());
    ProgramAnswer answer;
    if (command.size() >= TB_REMOTE_CMD_SIZE) {
        answer.text.format("command of %d characters is too long: %s", static_cast<int>(command.size()),
                           command.c_str());
    } else {
        const ResultFile file(base, trace);
        char cmd[TB_REMOTE_CMD_SIZE];
        copy_text(cmd, sizeof cmd, command);
        answer.started = true;
        const bool ended_well =
            REMOTE_CMD(format_string("%s/%s", host, file.name()).c_str(), cmd, 1, scope.context()) == 1;
        ProgramOutput output;
        if (!read_file(file.path(), &output))
            scope.note("WARNING: result file %s could not be read", file.path());
        conclude(output, ended_well, cmd, command, &answer);
    }
    scope.leave(answer.success ? 1 : 0, "--- RUN_ON_HOST returns %d  code:%d  msg:%s", answer.success ? 1 : 0,
                answer.code, answer.text.c_str());
    return answer;
}
