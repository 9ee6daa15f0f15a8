// Whether a path can be accessed, asked before it is opened.
#pragma once

namespace diag {

// What `file_access` asks for.
enum class AccessMode { read };

// 0 if `path` (UTF-8) can be accessed in this mode, another value if not. A directory can be read.
[[nodiscard]] int file_access(const char* path, AccessMode mode);

}  // namespace diag
