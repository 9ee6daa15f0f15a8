#include "hotpath/facade/function_name.h"

#include "hotpath/names/name_normaliser.h"

namespace hotpath {

std::string normalised_function_name(const std::string& raw) {
    thread_local NameNormaliser normaliser;  // costly to make
    return normaliser.normalise(raw.c_str());
}

}  // namespace hotpath
