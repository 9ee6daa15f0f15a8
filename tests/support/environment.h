// Environment variables of the test's own process, as UTF-8.
#pragma once

namespace test_support {

// An empty value is one too.
void set_environment(const char* name, const char* value);

void unset_environment(const char* name);

}  // namespace test_support
