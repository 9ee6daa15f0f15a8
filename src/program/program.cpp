#include "program/program.h"

#include <elfutils/libdw.h>

#include <algorithm>

#include "program/debug_files.h"

namespace program {

std::unique_ptr<Program> Program::open(const std::string& path, const OpenOptions& options,
                                       std::string& problem) {
    std::unique_ptr<Program> opened(new Program);
    opened->file_ = ElfFile::open(path, problem);
    if (!opened->file_) return nullptr;
    if (!opened->file_->is_x86()) {
        problem = "is no program for x86";
        return nullptr;
    }
    if (opened->code().empty()) {
        problem = "holds no machine code";
        return nullptr;
    }
    if (!opened->open_debug_file(options, problem)) return nullptr;
    opened->read_debug_information();
    std::vector<Symbol> symbols = opened->file_->function_symbols();
    if (opened->debug_file_) {
        const std::vector<Symbol> further = opened->debug_file_->function_symbols();
        symbols.insert(symbols.end(), further.begin(), further.end());
    }
    opened->functions_ = std::make_unique<Functions>(symbols, opened->scopes_, opened->code());
    return opened;
}

Program::~Program() {
    if (dwarf_ != nullptr) dwarf_end(dwarf_);
}

bool Program::open_debug_file(const OpenOptions& options, std::string& problem) {
    if (options.debug_file.empty()) {
        if (!file_->has_debug_information())
            debug_file_ = find_debug_file(*file_, options.debug_directory);
        return true;
    }
    debug_file_ = ElfFile::open(options.debug_file, problem);
    if (debug_file_ && !may_be_of_one_build(*file_, *debug_file_)) {
        problem = "is of another build";
        debug_file_ = nullptr;
    } else if (debug_file_ && !debug_file_->has_debug_information()) {
        problem = "has no debug information";
        debug_file_ = nullptr;
    }
    if (!debug_file_) problem = "the debug file " + options.debug_file + ": " + problem;
    return debug_file_ != nullptr;
}

void Program::read_debug_information() {
    lines_ = std::make_unique<LineTable>(code_ranges(), files_);
    const ElfFile& source = debug_file_ ? *debug_file_ : *file_;
    if (source.has_debug_information())
        dwarf_ = dwarf_begin_elf(source.handle(), DWARF_C_READ, nullptr);
    if (dwarf_ != nullptr) scopes_.read(dwarf_, code_ranges(), *lines_);
    lines_->finish();
}

std::vector<AddressRange> Program::code_ranges() const {
    std::vector<AddressRange> ranges;
    for (const Code& part : code()) ranges.push_back(part.range());
    return ranges;
}

std::optional<Address> Program::address_of_offset(std::uint64_t offset) const {
    for (const Segment& segment : segments())
        if (segment.offset <= offset && offset - segment.offset < segment.size)
            return segment.address + (offset - segment.offset);
    return std::nullopt;
}

const Function* Program::function_at(Address address) const {
    const auto index = functions_->find(address);
    return index ? &functions()[*index] : nullptr;
}

Declaration Program::declaration_of(const Function& function) const {
    const AddressRange range = owner_of(function).range;
    const std::uint32_t scope = scopes_.outermost(scopes_.find(range.start));
    if (scope != Scope::none) {
        const SourceFunction& source = scopes_.function_of(scopes_.scope(scope));
        if (source.file != TextIds::none) return {text(source.file), source.line};
    }
    for (const LineRow& row : lines_->rows_of(range)) {
        const Position position = outer_position_at(std::max(row.address, range.start));
        if (position.line != 0) return {position.file, position.line};
    }
    return {owner_of(function).symbol_file, 0};
}

Position Program::position_of(const LineRow& row) const {
    return {text(row.file), row.line, row.column, row.discriminator};
}

Position Program::position_at(Address address) const {
    const LineRow* row = lines_->find(address);
    return row == nullptr ? Position() : position_of(*row);
}

Position Program::call_of(const Scope& scope) const {
    return {text(scope.call_file), scope.call_line, scope.call_column, scope.call_discriminator};
}

Position Program::outer_position_at(Address address) const {
    std::uint32_t index = scopes_.find(address);
    if (index == Scope::none || scopes_.scope(index).caller == Scope::none)
        return position_at(address);
    const std::uint32_t outermost = scopes_.outermost(index);
    while (scopes_.scope(index).caller != outermost) index = scopes_.scope(index).caller;
    return call_of(scopes_.scope(index));
}

void Program::frames_at(Address address, std::vector<Frame>& frames) const {
    frames.clear();
    for (std::uint32_t index = scopes_.find(address); index != Scope::none;) {
        const Scope& scope = scopes_.scope(index);
        const SourceFunction& function = scopes_.function_of(scope);
        frames.push_back({function.name, {text(function.file), function.line}, call_of(scope)});
        index = scope.caller;
    }
    const Function* function = function_at(address);
    if (!frames.empty() && function != nullptr) frames.back().name = function->name;
}

Address Program::next_start(Address address) const {
    const auto& all = functions();
    const auto next = std::upper_bound(
        all.begin(), all.end(), address,
        [](Address wanted, const Function& function) { return wanted < function.range.start; });
    const Address start = next == all.end() ? ~Address{0} : next->range.start;
    if (next == all.begin()) return start;
    const Address end = std::prev(next)->range.end;
    return end > address ? std::min(end, start) : start;
}

}  // namespace program
