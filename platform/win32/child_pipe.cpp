#include <platform/child_pipe.h>

#include <platform/child_ends.h>
#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

namespace {

// Neither end is inherited; the child's end is made so for the moment of its start.
bool open_pipe(OwnedHandle (*ends)[2])
{
    HANDLE read = nullptr, write = nullptr;
    if (pl_fault())
        return false;
    if (!CreatePipe(&read, &write, nullptr, 0))
        return pl_fail_last();
    (*ends)[0] = OwnedHandle(read);
    (*ends)[1] = OwnedHandle(write);
    return true;
}

OwnedHandle open_null_device()
{
    return OwnedHandle(CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
}

// A handle that one child may inherit while this object lives.
class Inheritable {
public:
    explicit Inheritable(HANDLE handle) : handle_(handle)
    {
        DWORD flags = 0;
        changed_ = handle_ && GetHandleInformation(handle_, &flags) && (flags & HANDLE_FLAG_INHERIT) == 0 &&
                   SetHandleInformation(handle_, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    ~Inheritable()
    {
        if (changed_)
            SetHandleInformation(handle_, HANDLE_FLAG_INHERIT, 0);
    }
    Inheritable(const Inheritable &) = delete;
    Inheritable &operator=(const Inheritable &) = delete;

private:
    const HANDLE handle_;
    bool changed_ = false;
};

bool start(const char *program, const char *command_line, STARTUPINFOA start_info,
           PROCESS_INFORMATION *process)
{
    std::string text(command_line); // the system writes into it
    const std::lock_guard lock(spawn_lock());
    const Inheritable input(start_info.hStdInput), output(start_info.hStdOutput), error(start_info.hStdError);
    return CreateProcessA(program, text.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start_info,
                          process) ||
           pl_fail_last();
}

// A starter without that stream gives the null device: a program whose input is nothing at all may fail to start.
HANDLE own_stream(DWORD which, const OwnedHandle &null)
{
    const HANDLE stream = GetStdHandle(which);
    return stream && stream != INVALID_HANDLE_VALUE ? stream : null.get();
}

TB_HANDLE stream_handle(OwnedHandle handle)
{
    return pl_fault() ? nullptr : handle_add(std::move(handle), HandleKind::pipe);
}

} // namespace

PlChildStart pl_child_start(const char *program, const char *command_line, const PlChildStreams &streams,
                            PlChild *child)
{
    *child = {};
    ChildEnds<OwnedHandle> ends;
    if (const PlChildStart opened = ends.open(streams, open_pipe, stream_handle);
        opened != PlChildStart::done)
        return opened;
    const HANDLE input = ends.input.child.get(), output = ends.output.child.get(),
                 errors = ends.errors.child.get();
    if (pl_fault())
        return PlChildStart::not_started;
    const OwnedHandle null = open_null_device();
    if (!null) {
        pl_fail_last();
        return PlChildStart::not_started;
    }
    STARTUPINFOA info = {};
    info.cb = sizeof info;
    info.dwFlags = STARTF_USESTDHANDLES;
    info.hStdInput = streams.null_input ? null.get() : input ? input : own_stream(STD_INPUT_HANDLE, null);
    info.hStdOutput = output ? output : own_stream(STD_OUTPUT_HANDLE, null);
    info.hStdError = streams.join_error ? info.hStdOutput
                     : errors           ? errors
                                        : own_stream(STD_ERROR_HANDLE, null);
    PROCESS_INFORMATION process = {};
    if (!start(program, command_line, info, &process))
        return PlChildStart::not_started;
    child->process = handle_add(OwnedHandle(process.hProcess), HandleKind::process);
    child->thread = handle_add(OwnedHandle(process.hThread), HandleKind::child_thread);
    child->pid = process.dwProcessId;
    child->tid = process.dwThreadId;
    child->output = ends.output.release();
    child->input = ends.input.release();
    child->errors = ends.errors.release();
    return PlChildStart::done;
}

TB_HANDLE pl_duplicate(TB_HANDLE handle)
{
    auto object = handle_find(handle);
    return object && !pl_fault() ? handle_add(std::move(object)) : nullptr;
}

void pl_child_wait_ready(TB_HANDLE process, uint32_t milliseconds)
{
    if (const auto object = handle_find(process, HandleKind::process))
        WaitForInputIdle(object->system.get(), milliseconds);
}

// A program has its exit code before its streams are closed.
void pl_child_wait_exit(TB_HANDLE, TB_HANDLE, uint32_t) {}

int32_t pl_child_resume(TB_HANDLE thread)
{
    const auto object = handle_find(thread, HandleKind::child_thread);
    return object ? static_cast<int32_t>(ResumeThread(object->system.get())) : -1;
}

bool pl_full_path(const char *directory, const char *program, std::string *path)
{
    const bool absolute =
        program[0] == '\\' || program[0] == '/' || (program[0] != '\0' && program[1] == ':');
    std::string whole = absolute ? "" : directory;
    if (!whole.empty() && whole.find_last_of("\\/:") != whole.size() - 1)
        whole += '\\';
    whole += program;
    char full[2817];
    if (!*program)
        return pl_fail(ERROR_INVALID_PARAMETER);
    const DWORD length = GetFullPathNameA(whole.c_str(), sizeof full, full, nullptr);
    if (length == 0)
        return pl_fail_last();
    if (length >= sizeof full)
        return pl_fail(ERROR_FILENAME_EXCED_RANGE);
    path->assign(full);
    return true;
}

bool pl_process_start_background(const char *command_line, uint32_t *pid)
{
    if (pl_fault())
        return false;
    const OwnedHandle null = open_null_device();
    if (!null)
        return pl_fail_last();
    STARTUPINFOEXA info = {};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdInput = info.StartupInfo.hStdOutput = info.StartupInfo.hStdError = null.get();
    // Only the null device: what else is inheritable here would keep readers of this program's output waiting.
    HANDLE inherited[] = {null.get()};
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    const std::unique_ptr<char[]> memory(new char[size]);
    info.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.get());
    if (!InitializeProcThreadAttributeList(info.lpAttributeList, 1, 0, &size))
        return pl_fail_last();
    UpdateProcThreadAttribute(info.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited,
                              sizeof inherited, nullptr, nullptr);
    std::string text(command_line ? command_line : "");
    PROCESS_INFORMATION process = {};
    bool started;
    {
        const std::lock_guard lock(spawn_lock());
        const Inheritable passed(null.get());
        started = CreateProcessA(nullptr, text.data(), nullptr, nullptr, TRUE,
                                 EXTENDED_STARTUPINFO_PRESENT | CREATE_NEW_PROCESS_GROUP | DETACHED_PROCESS,
                                 nullptr, nullptr, &info.StartupInfo, &process) ||
                  pl_fail_last();
    }
    DeleteProcThreadAttributeList(info.lpAttributeList);
    if (!started)
        return false;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    *pid = process.dwProcessId;
    return true;
}
