// What makes and releases all objects of the profile model: the interface that the model's
// collections and the readers ask. How it is done stands in function_record_factory_impl.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "hotpath/model/function_key.h"
#include "hotpath/model/source_position.h"

namespace hotpath {

class EdgeRecord;
class FunctionRecord;
class FunctionRecordInterface;
class FunctionRecordProxy;
class FunctionLoader;

// No result is ever absent: exhausted memory ends the program. `size` is the size of the object
// that is released.
class FunctionRecordFactory {
public:
    FunctionRecordFactory() = default;
    FunctionRecordFactory(const FunctionRecordFactory&) = delete;
    FunctionRecordFactory& operator=(const FunctionRecordFactory&) = delete;
    virtual ~FunctionRecordFactory() = default;

    // Forgets everything that was made. Nothing in the tool asks for it, and it does nothing.
    virtual void reset() = 0;

    // Make a record of the names, which live as long as the factory.
    virtual FunctionRecordProxy* create_proxy(const FunctionKey& key, FunctionLoader* database,
                                              std::uint32_t function_id) = 0;
    virtual FunctionRecord* create_record(const FunctionKey& key) = 0;

    // Releases the record's edges, then the record's storage. No destructor runs: records end with
    // the process, and what else they hold lies in storage of the factory.
    virtual void destroy_record(FunctionRecordInterface* record, std::size_t size) = 0;

    virtual EdgeRecord* create_edge(std::uint32_t edge_index, std::uint64_t from_address,
                                    const SourcePosition& from_position, std::uint64_t to_address,
                                    const SourcePosition& to_position,
                                    std::uint64_t exec_count) = 0;
    virtual void destroy_edge(EdgeRecord* edge, std::size_t size) = 0;

    // A copy of `text` that lives as long as the factory; equal texts share one.
    virtual std::string_view keep_text(std::string_view text) = 0;

    // The file name, kept likewise, and the one that is kept already; null without one.
    virtual const FileName& keep_file_name(std::string_view name) = 0;
    virtual const FileName* find_file_name(std::string_view name) const = 0;

    // The names of a function, with a copy of `function_name`.
    virtual FunctionKey make_key(const FileName& file, std::string_view function_name) = 0;

    // Make a record with copies of the two names.
    FunctionRecordProxy* create_proxy(std::string_view file_name, std::string_view function_name,
                                      FunctionLoader* database, std::uint32_t function_id) {
        return create_proxy(make_key(keep_file_name(file_name), function_name), database,
                            function_id);
    }
    FunctionRecord* create_record(std::string_view file_name, std::string_view function_name) {
        return create_record(make_key(keep_file_name(file_name), function_name));
    }
};

}  // namespace hotpath
