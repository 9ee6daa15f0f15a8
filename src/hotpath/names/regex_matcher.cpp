#include "hotpath/names/regex_matcher.h"

#include <new>
#include <string_view>

#include "diag/assertions.h"
#include "hotpath/names/regex_engine.h"

namespace hotpath {

RegexMatcher::RegexMatcher() = default;
RegexMatcher::~RegexMatcher() = default;

void RegexMatcher::compile(const char* pattern, std::uint32_t /*options*/) {
    m_impl.reset(new (std::nothrow) RegexEngine);
    if (m_impl == nullptr) {
        diag::assert_failed_text(diag::path_in_source_root(__FILE__), __LINE__,
                                 "m_impl != ((uintptr_t)0)", "Memory allocation failed");
    }
    if (m_impl->compile(pattern) != RegexOk) m_impl.reset();
}

int RegexMatcher::match(const char* text) {
    return m_impl != nullptr && m_impl->match(text) ? 0 : 1;
}

std::int32_t RegexMatcher::group(std::uint32_t /*index*/, const char*& start,
                                 const char*& end) const {
    if (m_impl == nullptr) return 0;
    const std::string_view text = m_impl->group(0);
    start = text.data();
    end = text.data() + text.size();
    return static_cast<std::int32_t>(text.size());
}

}  // namespace hotpath
