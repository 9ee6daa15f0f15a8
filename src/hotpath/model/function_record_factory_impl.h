// The factory of the profile model over any allocator, so that the storage behind all records and
// edges can be exchanged by a template argument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "hotpath/model/file_name_pool.h"
#include "hotpath/model/function_record_factory.h"
#include "hotpath/model/function_record_proxy.h"
#include "hotpath/model/text_pool.h"

namespace hotpath {

// `Allocator` has `allocate` and `release`, which serve records and edges. Names and calls lie in
// storage of the factory's own and are never released singly.
template <class Allocator>
class FunctionRecordFactoryImpl final : public FunctionRecordFactory {
public:
    using FunctionRecordFactory::create_proxy;
    using FunctionRecordFactory::create_record;

    void reset() override {}

    FunctionRecordProxy* create_proxy(const FunctionKey& key, FunctionLoader* database,
                                      std::uint32_t function_id) override {
        return new (allocator_.allocate(sizeof(FunctionRecordProxy)))
            FunctionRecordProxy(key, database, *this, function_id);
    }

    FunctionRecord* create_record(const FunctionKey& key) override {
        return new (allocator_.allocate(sizeof(FunctionRecord))) FunctionRecord(key, storage_);
    }

    void destroy_record(FunctionRecordInterface* record, std::size_t size) override {
        record->release_edges(*this);
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

    const FileName& keep_file_name(std::string_view name) override { return files_.keep(name); }
    const FileName* find_file_name(std::string_view name) const override {
        return files_.find(name);
    }

    FunctionKey make_key(const FileName& file, std::string_view function_name) override {
        void* const place = storage_.allocate(KeptText::storage_size(function_name));
        return {file, *KeptText::make(place, function_name)};
    }

private:
    Allocator allocator_;
    AllocatorOnHeap storage_;
    TextPool texts_;
    FileNamePool files_;
};

}  // namespace hotpath
