#include <platform/files.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <io.h>

namespace {

constexpr size_t kPathSize = 4096;
// Others may read, write, rename and delete the file meanwhile, as they may on the other platform.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// For a file that another process is just reading: it is free again within an instant.
constexpr int kReplaceTries = 200;
constexpr DWORD kReplacePauseMs = 5;

OwnedHandle open_file(const char *path, DWORD access, DWORD creation)
{
    return OwnedHandle(
        CreateFileA(path ? path : "", access, kShareAll, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool write_all(const OwnedHandle &file, const char *text, size_t length)
{
    while (length > 0) {
        DWORD put = 0;
        const DWORD part = static_cast<DWORD>(std::min<size_t>(length, 1u << 30));
        if (!WriteFile(file.get(), text, part, &put, nullptr))
            return pl_fail_last();
        if (put == 0)
            return pl_fail(ERROR_DISK_FULL);
        text += put;
        length -= put;
    }
    return true;
}

bool seek(const OwnedHandle &file, size_t offset)
{
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN) || pl_fail_last();
}

bool write_all_at(const OwnedHandle &file, const char *text, size_t length, size_t offset)
{
    return seek(file, offset) && write_all(file, text, length);
}

bool cut_at(const OwnedHandle &file, size_t length)
{
    return seek(file, length) && (SetEndOfFile(file.get()) || pl_fail_last());
}

bool close_file(OwnedHandle &file)
{
    return file.close() || pl_fail_last();
}

// As a text-mode stream writes it.
std::string with_line_ends(const char *text, size_t length)
{
    std::string lines;
    lines.reserve(length + 8);
    for (size_t i = 0; i < length; ++i) {
        if (text[i] == '\n')
            lines += '\r';
        lines += text[i];
    }
    return lines;
}

// Appending needs no lock on a local disk of Windows, but on network drives and under Wine the end of the file is looked
// up before the write.  The lock is far behind any text, so that readers and other programs never meet it.
class AppendLock {
public:
    explicit AppendLock(const OwnedHandle &file) : file_(file)
    {
        place_.OffsetHigh = 0x4000'0000;
        held_ = LockFileEx(file_.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place_) != 0;
    }
    ~AppendLock()
    {
        if (held_)
            UnlockFileEx(file_.get(), 0, 1, 0, &place_);
    }
    AppendLock(const AppendLock &) = delete;
    AppendLock &operator=(const AppendLock &) = delete;

private:
    const OwnedHandle &file_;
    OVERLAPPED place_ = {};
    bool held_;
};

int64_t nanoseconds(int64_t steps_since_1601)
{
    return (steps_since_1601 - 116'444'736'000'000'000) * 100;
}

bool stamp_of(const OwnedHandle &file, PlFileStamp *stamp)
{
    BY_HANDLE_FILE_INFORMATION info;
    FILE_BASIC_INFO times;
    if (!GetFileInformationByHandle(file.get(), &info) ||
        !GetFileInformationByHandleEx(file.get(), FileBasicInfo, &times, sizeof times))
        return pl_fail_last();
    *stamp = {info.dwVolumeSerialNumber, uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow,
              uint64_t{info.nFileSizeHigh} << 32 | info.nFileSizeLow,
              nanoseconds(times.LastWriteTime.QuadPart), nanoseconds(times.ChangeTime.QuadPart)};
    return true;
}

bool read_to_end(const OwnedHandle &file, std::string *out, size_t limit)
{
    char buffer[8192];
    while (out->size() < limit) {
        DWORD got = 0;
        const size_t wanted = std::min(sizeof buffer, limit - out->size());
        if (!ReadFile(file.get(), buffer, static_cast<DWORD>(wanted), &got, nullptr))
            return pl_fail_last();
        out->append(buffer, got);
        if (got < sizeof buffer)
            return true; // a short reading of a file means its end: saves the call that would only say so
    }
    return true;
}

// What fopen's modes ask of the system and of the C library.
struct OpenMode {
    explicit OpenMode(const char *mode)
    {
        const bool update = std::strchr(mode, '+') != nullptr;
        descriptor = std::strchr(mode, 'b') ? _O_BINARY : _O_TEXT;
        switch (mode[0]) {
        case 'r':
            access = update ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ;
            creation = OPEN_EXISTING;
            descriptor |= update ? _O_RDWR : _O_RDONLY;
            break;
        case 'w':
            access = update ? GENERIC_READ | GENERIC_WRITE : GENERIC_WRITE;
            creation = CREATE_ALWAYS;
            descriptor |= update ? _O_RDWR : _O_WRONLY;
            break;
        default: // a writer that has only the right to append never overwrites what another one added
            access = (update ? GENERIC_READ : 0) | FILE_APPEND_DATA | SYNCHRONIZE;
            creation = OPEN_ALWAYS;
            descriptor |= _O_APPEND | (update ? _O_RDWR : _O_WRONLY);
            break;
        }
    }
    DWORD access;
    DWORD creation;
    int descriptor;
};

} // namespace

FILE *pl_fopen(const char *path, const char *mode)
{
    if (pl_fault())
        return nullptr;
    // Not through fopen: its files pass to children, and nobody could rename or delete them while they are open.
    const OpenMode how(mode);
    OwnedHandle file = open_file(path, how.access, how.creation);
    if (!file) {
        pl_fail_last();
        return nullptr;
    }
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(file.get()), how.descriptor | _O_NOINHERIT);
    if (fd < 0) {
        pl_fail(ERROR_TOO_MANY_OPEN_FILES);
        return nullptr;
    }
    static_cast<void>(file.release()); // the descriptor's from here on
    FILE *const stream = _fdopen(fd, mode);
    if (!stream) {
        _close(fd);
        pl_fail(ERROR_TOO_MANY_OPEN_FILES);
    }
    return stream;
}

PlAppend pl_append(const char *path, const char *text, size_t length, int32_t *c_error)
{
    if (pl_fault())
        return PlAppend::not_opened;
    const std::string lines = with_line_ends(text, length);
    OwnedHandle file = open_file(path, FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE, OPEN_ALWAYS);
    if (!file) {
        pl_fail_last();
        return PlAppend::not_opened;
    }
    bool written = false;
    {
        const AppendLock lock(file);
        written = !pl_fault() && write_all(file, lines.data(), lines.size());
    }
    const bool closed = close_file(file);
    if (written && closed)
        return PlAppend::done;
    if (c_error)
        *c_error = pl_c_error(static_cast<uint32_t>(pl_last_error().number));
    return PlAppend::not_written;
}

bool pl_replace_file(const char *path, const char *text, size_t length)
{
    if (pl_fault())
        return false;
    char temporary[kPathSize];
    const int needed = std::snprintf(temporary, sizeof temporary, "%s.%lu.tmp", path, GetCurrentThreadId());
    if (needed < 0 || static_cast<size_t>(needed) >= sizeof temporary)
        return pl_fail(ERROR_FILENAME_EXCED_RANGE);
    OwnedHandle file = open_file(temporary, GENERIC_WRITE, CREATE_ALWAYS);
    if (!file)
        return pl_fail_last();
    bool good = !pl_fault() && write_all(file, text, length);
    good = close_file(file) && good;
    for (int tries = 1; good; ++tries) {
        if (MoveFileExA(temporary, path, MOVEFILE_REPLACE_EXISTING))
            return true;
        good = pl_fail_last() || (pl_last_error().kind == PL_ACCESS_DENIED && tries < kReplaceTries);
        if (good)
            Sleep(kReplacePauseMs);
    }
    const PlError error = pl_last_error();
    DeleteFileA(temporary);
    pl_set_error(error);
    return false;
}

bool pl_overwrite_file(const char *path, const char *text, size_t length, int32_t *c_error)
{
    const std::string lines = with_line_ends(text, length);
    OwnedHandle file;
    bool good = !pl_fault();
    if (good) {
        file = open_file(path, GENERIC_WRITE, OPEN_ALWAYS);
        good = file || pl_fail_last();
    }
    if (good) {
        LARGE_INTEGER end;
        good = GetFileSizeEx(file.get(), &end) || pl_fail_last();
        const size_t old_length = good ? static_cast<size_t>(end.QuadPart) : 0;
        if (good && lines.size() > old_length) {
            const char *const added = lines.data() + old_length;
            good = !pl_fault() && write_all_at(file, added, lines.size() - old_length, old_length);
            if (!good) {
                const PlError error = pl_last_error();
                cut_at(file, old_length);
                pl_set_error(error);
            }
        }
        good = good && write_all_at(file, lines.data(), std::min(lines.size(), old_length), 0);
        good = good && cut_at(file, lines.size());
        good = close_file(file) && good;
    }
    if (!good && c_error)
        *c_error = pl_c_error(static_cast<uint32_t>(pl_last_error().number));
    return good;
}

bool pl_file_stamp(const char *path, PlFileStamp *stamp)
{
    if (pl_fault())
        return false;
    const OwnedHandle file = open_file(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
    return file ? stamp_of(file, stamp) : pl_fail_last();
}

bool pl_read_file(const char *path, std::string *out, size_t limit, PlFileStamp *stamp)
{
    out->clear();
    if (pl_fault())
        return false;
    const OwnedHandle file = open_file(path, GENERIC_READ, OPEN_EXISTING);
    if (!file)
        return pl_fail_last();
    if (GetFileType(file.get()) != FILE_TYPE_DISK)
        return pl_fail(ERROR_INVALID_PARAMETER); // a pipe or a device could keep its reader waiting
    return (!stamp || stamp_of(file, stamp)) && read_to_end(file, out, limit);
}

bool pl_file_exists(const char *path)
{
    return GetFileAttributesA(path ? path : "") != INVALID_FILE_ATTRIBUTES;
}

bool pl_remove(const char *path)
{
    if (pl_fault())
        return false;
    return DeleteFileA(path ? path : "") || pl_fail_last();
}

bool pl_rename(const char *from, const char *to)
{
    if (pl_fault())
        return false;
    return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) || pl_fail_last();
}

bool pl_make_dir(const char *path)
{
    if (pl_fault())
        return false;
    return CreateDirectoryA(path ? path : "", nullptr) || pl_fail_last();
}

void pl_native_path(char *) {}

std::string pl_library_path(const char *path)
{
    // From the system's code page, in which all other functions take their paths.
    const int wide_length = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
    std::wstring wide(static_cast<size_t>(std::max(wide_length, 1)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, path, -1, wide.data(), wide_length);
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(std::max(length, 1)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, text.data(), length, nullptr, nullptr);
    text.pop_back(); // the terminator
    return text;
}

const char *pl_null_device()
{
    return "nul";
}

char pl_path_list_separator()
{
    return ';';
}

char pl_path_separator()
{
    return '\\';
}

bool pl_is_terminal(FILE *stream)
{
    // The null device counts as a terminal for the C library.
    DWORD mode = 0;
    const intptr_t handle = _get_osfhandle(_fileno(stream));
    return GetConsoleMode(reinterpret_cast<HANDLE>(handle), &mode) != 0;
}

bool pl_seek(FILE *stream, uint64_t offset)
{
    return _fseeki64(stream, static_cast<int64_t>(offset), SEEK_SET) == 0;
}
