#include "hotpath/model/file_name_pool.h"

#include <new>

namespace hotpath {

const FileName& FileNamePool::keep(std::string_view name) {
    const std::uint32_t number = texts_.number_of(name);
    if (number == names_.size()) {
        const std::string_view text = texts_[number];
        names_.push_back(new (storage_.allocate(sizeof(FileName)))
                             FileName{text, hash_segments(text)});
    }
    return *names_[number];
}

const FileName* FileNamePool::find(std::string_view name) const {
    const std::uint32_t number = texts_.find(name);
    return number == TextPool::none ? nullptr : names_[number];
}

}  // namespace hotpath
