// A proxy stands for a function row of a database and reads the row's edges and calls when it is
// first asked for them. This is the interface through which it does so, so that the model doesn't
// depend on the database, whose loader implements it.
#pragma once

#include <cstdint>

namespace hotpath {

class FunctionRecord;
class FunctionRecordFactory;

// Reads edges and calls of function rows. It must outlive the proxies that point to it.
class FunctionLoader {
public:
    // Adds the edges and calls of a function row to `record`; false if they can't be read.
    virtual bool load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                                       FunctionRecord& record) = 0;

protected:
    FunctionLoader() = default;
    FunctionLoader(const FunctionLoader&) = default;
    FunctionLoader& operator=(const FunctionLoader&) = default;
    ~FunctionLoader() = default;
};

}  // namespace hotpath
