// Makes and releases all objects of the profile model, so that the storage behind them can be
// exchanged by a template argument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "shared/hotpath/model/function_record_proxy.h"
#include "shared/hotpath/model/text_pool.h"

namespace hotpath {

// What the model's collections and readers ask for. No result is ever absent: exhausted memory ends
// the program. `size` is the size of the object that is released.
class FunctionRecordFactory {
public:
    FunctionRecordFactory() = default;
    FunctionRecordFactory(const FunctionRecordFactory&) = delete;
    FunctionRecordFactory& operator=(const FunctionRecordFactory&) = delete;
    virtual ~FunctionRecordFactory() = default;

    // Forgets everything that was made. Nothing in the tool asks for it, and it does nothing.
    virtual void reset() = 0;

    // Make a record with its own copy of the two names.
    virtual FunctionRecordProxy* create_proxy(std::string_view file_name,
                                              std::string_view function_name, SampleDB* database,
                                              FunctionRecordSet* record_set,
                                              std::uint32_t function_id) = 0;
    virtual FunctionRecord* create_record(std::string_view file_name,
                                          std::string_view function_name) = 0;

    // Releases the record's edges, then the record.
    virtual void destroy_record(FunctionRecordInterface* record, std::size_t size) = 0;

    virtual EdgeRecord* create_edge(std::uint32_t edge_index, std::uint64_t from_address,
                                    const SourcePosition& from_position, std::uint64_t to_address,
                                    const SourcePosition& to_position,
                                    std::uint64_t exec_count) = 0;
    virtual void destroy_edge(EdgeRecord* edge, std::size_t size) = 0;

    // A copy of `text` that lives as long as the factory; equal texts share one.
    virtual std::string_view keep_text(std::string_view text) = 0;
};

// The factory over an allocator with `allocate`, `release` and `allocate_text`.
template <class Allocator>
class FunctionRecordFactoryImpl final : public FunctionRecordFactory {
public:
    void reset() override {}

    FunctionRecordProxy* create_proxy(std::string_view file_name, std::string_view function_name,
                                      SampleDB* database, FunctionRecordSet* record_set,
                                      std::uint32_t function_id) override {
        return new (allocator_.allocate(sizeof(FunctionRecordProxy))) FunctionRecordProxy(
            make_key(file_name, function_name), database, record_set, function_id);
    }

    FunctionRecord* create_record(std::string_view file_name,
                                  std::string_view function_name) override {
        return new (allocator_.allocate(sizeof(FunctionRecord)))
            FunctionRecord(make_key(file_name, function_name));
    }

    void destroy_record(FunctionRecordInterface* record, std::size_t size) override {
        record->release_edges(*this);
        record->~FunctionRecordInterface();
        allocator_.release(record, size);
    }

    EdgeRecord* create_edge(std::uint32_t edge_index, std::uint64_t from_address,
                            const SourcePosition& from_position, std::uint64_t to_address,
                            const SourcePosition& to_position, std::uint64_t exec_count) override {
        return new (allocator_.allocate(sizeof(EdgeRecord))) EdgeRecord(
            edge_index, from_address, from_position, to_address, to_position, exec_count);
    }

    void destroy_edge(EdgeRecord* edge, std::size_t size) override {
        allocator_.release(edge, size);
    }

    std::string_view keep_text(std::string_view text) override { return texts_.keep(text); }

private:
    FunctionKey make_key(std::string_view file_name, std::string_view function_name) {
        char* const joined = allocator_.allocate_text(function_name.size() + file_name.size() + 2);
        char* out = joined + function_name.copy(joined, function_name.size());
        *out++ = '/';
        out += file_name.copy(out, file_name.size());
        *out = '\0';
        return {joined, static_cast<std::uint32_t>(function_name.size()),
                static_cast<std::uint32_t>(file_name.size())};
    }

    Allocator allocator_;
    TextPool texts_;
};

}  // namespace hotpath
