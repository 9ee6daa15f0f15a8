#define NOMINMAX
#include <windows.h>

#include "support/environment.h"
#include "support/file_path.h"

namespace test_support {

void set_environment(const char* name, const char* value) {
    SetEnvironmentVariableW(wide_text(name).c_str(), wide_text(value).c_str());
}

void unset_environment(const char* name) {
    SetEnvironmentVariableW(wide_text(name).c_str(), nullptr);
}

}  // namespace test_support
