#include "hotpath/facade/sample_set.h"

#include "diag/ascii.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/readers/sample_reader.h"

namespace hotpath {

struct SampleSet::Records {
    FunctionRecordFactoryImpl<AllocatorOnHeap> factory;
    FunctionRecordSet set{factory};

    SampleLoad load(const std::string& path, bool by_proxies);
};

SampleLoad SampleSet::Records::load(const std::string& path, bool by_proxies) {
    ReaderStatus status{};
    const auto reader = create_reader(path.c_str(), status);
    if (status == ReaderStatus::cannot_open) return SampleLoad::cannot_open;
    if (reader == nullptr) return SampleLoad::no_samples;
    const bool read =
        reader->read_function_records(set, factory, by_proxies && reader->supports_proxies());
    return read ? SampleLoad::done : SampleLoad::no_samples;
}

static SamplePosition sample_position(const SourcePosition& position) {
    return {position.line, position.relative_line, position.column, position.discriminator};
}

std::string_view SampledFunction::file_name() const { return record_->get_file_name(); }
std::string_view SampledFunction::name() const { return record_->get_function_name(); }
std::uint64_t SampledFunction::exec_count() const { return record_->get_exec_count(); }

std::vector<SampledEdge> SampledFunction::edges() const {
    std::vector<EdgeRecord*> records;
    record_->get_full_record()->copy_edges(records);
    std::vector<SampledEdge> edges;
    edges.reserve(records.size());
    for (const EdgeRecord* const edge : records)
        edges.push_back({edge->from_address(), edge->to_address(),
                         sample_position(edge->from_position()),
                         sample_position(edge->to_position()), edge->exec_count(), edge->is_entry(),
                         edge->is_exit()});
    return edges;
}

std::vector<SampledCall> SampledFunction::calls() const {
    std::vector<const CallRecord*> records;
    record_->get_full_record()->copy_calls(records);
    std::vector<SampledCall> calls;
    calls.reserve(records.size());
    for (const CallRecord* const call : records)
        calls.push_back({call->callee_name, call->line, call->relative_line, call->exec_count});
    return calls;
}

SampleSet::SampleSet() : records_(std::make_unique<Records>()) {}
SampleSet::~SampleSet() = default;

SampleLoad SampleSet::add(const std::string& path) { return records_->load(path, false); }
SampleLoad SampleSet::open(const std::string& path) { return records_->load(path, true); }

std::uint32_t SampleSet::run_count() const { return records_->set.num_runs(); }

std::vector<SampledFunction> SampleSet::functions() const {
    std::vector<SampledFunction> functions;
    for (FunctionRecordInterface* const record : records_->set.records_by_key())
        functions.emplace_back(*record);
    return functions;
}

std::optional<SampledFunction> SampleSet::find(std::string_view file_name,
                                               std::string_view name) const {
    std::string upper(file_name);  // as sets keep file names
    for (char& c : upper) c = diag::to_upper(c);
    FunctionRecord* const record = records_->set.find_record(upper, name);
    if (record == nullptr) return std::nullopt;
    return SampledFunction(*record);
}

}  // namespace hotpath
