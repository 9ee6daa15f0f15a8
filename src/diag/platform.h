// The whole of what the tool asks of an operating system. One header; one source file per system
// stands behind it. Nothing else in the tree includes a system header or asks which system it is.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace diag::platform {

// The separator between the directories of `PATH`, and the ending of a program's file name.
extern const char path_list_separator;
extern const std::string_view executable_suffix;

// Converts UTF-8 to the system's wide text and back; nothing if the memory can't be had.
std::optional<std::wstring> utf8_to_wide(std::string_view text);
std::optional<std::string> wide_to_utf8(std::wstring_view text);

// True if `path` (UTF-8) names something that exists and may be read. A directory counts.
bool can_read(const char* path);

// What a path leads to. A stream is a pipe or a socket. Streams and devices have no bytes to come
// back to, and opening one may wait for ever.
enum class FileKind { ordinary, stream, device };

// The kind of what `path` (UTF-8) leads to; ordinary for a directory and for what isn't there.
FileKind kind_of_file(const char* path);

// Opens a file for reading its bytes as they stand; null if that isn't possible. The caller closes
// the stream with `std::fclose`.
std::FILE* open_for_reading(const char* path);

// The same for a file of lines as the system's editors write them: each arrives with a plain end.
std::FILE* open_text_for_reading(const char* path);

// The value of an environment variable as UTF-8; nothing if it isn't set.
std::optional<std::string> environment_value(const char* name);

// The current working directory as UTF-8; nothing if the system can't tell.
std::optional<std::string> working_directory();

// The full path of the running program; nothing if the system can't tell.
std::optional<std::string> module_path();

// Lets the process hold as many open files as the system ever allows it.
void raise_open_file_limit();

// Lets the stack grow to 128 MB, or as far as the system ever allows: statements of databases that
// others made may be nested deeply.
void raise_stack_limit();

// Lets a write to a closed pipe, or past a limit on file sizes, fail like any other write, where
// the system would rather end the process.
void let_writes_fail();

}  // namespace diag::platform
