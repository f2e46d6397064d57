// Files and paths.  Every function takes paths with either separator ("\" is turned into "/" where the system
// needs it) and opens nothing that a child process could inherit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

// fopen in text mode or, with "b", in binary mode; null and the last error on failure.
[[nodiscard]] FILE *pl_fopen(const char *path, const char *mode);

// A stream that closes itself, for readers.
struct PlCloseFile {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using PlFile = std::unique_ptr<FILE, PlCloseFile>;

// Appends text in one piece (one open, one write, one close), creating the file.  Line feeds become the
// platform's line ends.  Concurrent writers of any process never tear or overwrite each other's text.
enum class PlAppend { done, not_opened, not_written };
// c_error receives the C library's error number of a failed write or close; may be null.
PlAppend pl_append(const char *path, const char *text, size_t length, int32_t *c_error);

// Replaces the file: a temporary file in the same directory is written whole and renamed over it, so that
// readers see the old text or the new one and a full disk leaves the old one.
bool pl_replace_file(const char *path, const char *text, size_t length);

// Puts text in place of the file's content, in the same file: what has to be added is written first, so that
// a full disk leaves the old content.  Creates the file if it is missing.  c_error as above; may be null.
bool pl_overwrite_file(const char *path, const char *text, size_t length, int32_t *c_error);

// What tells two states of a file apart.
struct PlFileStamp {
    uint64_t volume, file, size;
    int64_t modified_ns, changed_ns;
    bool operator==(const PlFileStamp &) const = default;
};
bool pl_file_stamp(const char *path, PlFileStamp *stamp); // a folder has none

// Reads a whole file into out, at most limit bytes, and, unless null, the stamp it had before the first byte
// was read. False and the last error when it cannot be opened or read; never waits for the writer of a pipe.
[[nodiscard]] bool pl_read_file(const char *path, std::string *out, size_t limit,
                                PlFileStamp *stamp = nullptr);

bool pl_file_exists(const char *path);
bool pl_remove(const char *path); // false and the last error on failure
// Gives a file another name; a file that has it already is replaced.  False and the last error on failure.
bool pl_rename(const char *from, const char *to);
bool pl_make_dir(const char *path); // one level
void pl_native_path(char *path);    // Linux: every "\" becomes "/"; Windows: nothing

// The path for libraries that take file names in UTF-8 on Windows; Linux: the path as it stands.
std::string pl_library_path(const char *path);

const char *pl_null_device();
char pl_path_list_separator(); // between the entries of PATH
char pl_path_separator();      // inside a path, as PATH entries show it

// Goes to a place in a stream, beyond 2 GiB, too.  Sets no last error.
bool pl_seek(FILE *stream, uint64_t offset);

// fclose that names the C library's error number: 0 when everything reached the file.
int32_t pl_fclose(FILE *stream);

// True when a person watches the stream: it may be coloured.
bool pl_is_terminal(FILE *stream);
