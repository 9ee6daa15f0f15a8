#include <stdlib.h>

#include "support/environment.h"

namespace test_support {

void set_environment(const char* name, const char* value) { setenv(name, value, 1); }

void unset_environment(const char* name) { unsetenv(name); }

}  // namespace test_support
