#include "edgefile/edge_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <filesystem>
#include <iterator>
#include <tuple>

#include "hotpath/names/name_normaliser.h"

namespace edgefile {

namespace {

using program::Kind;

constexpr std::string_view header =
    "FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,FromSourceOffsetLine,"
    "FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,DestinationAddress,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationSourceOffsetLine,DestinationSourceColumn,DestinationSourceDiscriminator,"
    "DestinationFunctionMangled,HitCount\n";

constexpr std::array<std::string_view, 8> words = {"Call",    "Cond", "FallThrough", "IndCall",
                                                   "IndJump", "Jump", "Ret",         "Uncond"};

// Addresses of code outside of the programs begin here, so that none meets an address of a program.
constexpr std::uint64_t foreign_addresses = 0x7000'0000'0000;
constexpr std::string_view unknown_name = "NA";
constexpr std::uint64_t first_large_count = std::uint64_t{1} << 31;
constexpr int exact_bits = 24;  // of a 32-bit float

void write_text(std::string_view text, std::FILE* output) {
    std::fwrite(text.data(), 1, text.size(), output);
}

std::string position_fields(std::string_view file, long long line, std::uint32_t offset,
                            std::uint32_t column, std::uint32_t discriminator,
                            std::string_view name) {
    return fmt::format("{},{},{},{},{},{}", field(file), line, offset, column, discriminator,
                       field(name));
}

std::string unknown_position(std::string_view name) {
    return position_fields(unknown_name, -1, 0, 0, 0, name);
}

// How a row that leaves a function names the one reached.
std::string name_for(std::string_view own_name, const std::string& name) {
    return name == own_name ? other_spelling(name) : name;
}

}  // namespace

std::string_view text_of(Word word) { return words[static_cast<std::size_t>(word)]; }

Word word_of(const Code& code, Place source, Place destination) {
    const bool within = code.is_in_one_function(source, destination);
    switch (code.kind(source).value_or(Kind::other)) {
        case Kind::call: return Word::call;
        case Kind::indirect_call: return Word::ind_call;
        case Kind::return_: return Word::ret;
        case Kind::indirect_jump: return Word::ind_jump;
        case Kind::conditional_jump: return within ? Word::cond : Word::jump;
        case Kind::jump: return within ? Word::uncond : Word::jump;
        default: return Word::fall_through;
    }
}

std::string field(std::string_view text) {
    std::string made(text);
    std::replace_if(
        made.begin(), made.end(),
        [](char letter) { return letter == '\n' || letter == '\r' || letter == '\0'; }, '?');
    const bool bracketed = made.find(',') != std::string::npos || made.starts_with('[');
    if (!bracketed) return made;
    // Within brackets a separator may stand, but no bracket: of the two, the separator gives way.
    if (made.find(']') == std::string::npos) return "[" + made + "]";
    std::replace(made.begin(), made.end(), ',', ';');
    if (made.starts_with('[')) made.front() = '(';
    return made;
}

// A second dot behind the first one goes with it.
std::string other_spelling(std::string_view name) {
    std::string other(name);
    other.insert(std::min(other.find('.'), other.size()), 1, '.');
    hotpath::NameNormaliser normaliser;
    const std::string wanted = normaliser.normalise(std::string(name).c_str());
    return normaliser.normalise(other.c_str()) == wanted ? other : "";
}

std::vector<std::uint64_t> exact_parts(std::uint64_t count) {
    std::vector<std::uint64_t> parts;
    while (count != 0) {
        const int surplus = std::max(0, static_cast<int>(std::bit_width(count)) - exact_bits);
        const std::uint64_t part = count >> surplus << surplus;
        parts.push_back(part);
        count -= part;
    }
    return parts;
}

EdgeTable::EdgeTable(const Code& code, std::span<const ForeignFunction> foreign_functions,
                     TableOptions options)
    : code_(code),
      foreign_functions_(foreign_functions),
      options_(std::move(options)),
      lines_(code.programs()) {
    if (options_.root.empty()) return;
    options_.root = std::filesystem::absolute(options_.root).lexically_normal().string();
    if (!options_.root.ends_with('/')) options_.root += '/';
}

std::string EdgeTable::below_root(std::string_view path) const {
    if (options_.root.empty() || !path.starts_with('/')) return std::string(path);
    std::string normal = std::filesystem::path(path).lexically_normal().string();
    return normal.starts_with(options_.root) ? normal.substr(options_.root.size()) : normal;
}

std::string EdgeTable::end_fields(Place place, std::string_view name, bool& has_line) {
    const SourceLine line = lines_.at(place);
    has_line = line.line != 0;
    const std::string file = line.file.empty() ? std::string(unknown_name) : below_root(line.file);
    return position_fields(file, has_line ? static_cast<long long>(line.line) : -1, line.offset,
                           line.column, line.discriminator, name);
}

const EdgeTable::End& EdgeTable::end_of(Place place) {
    const auto [entry, is_new] = ends_.try_emplace(place);
    if (is_new)
        entry->second.fields =
            end_fields(place, code_.programs().function_at(place)->name, entry->second.has_line);
    return entry->second;
}

EdgeTable::End EdgeTable::destination_of(const Transfer& transfer) {
    const Programs& programs = code_.programs();
    const std::string_view own_name = programs.function_at(transfer.source)->name;
    const program::Function* function = programs.function_at(transfer.destination);
    if (function == nullptr || !code_.is_instruction(transfer.destination)) {
        const ForeignFunction* reached = foreign_function(transfer.destination);
        const std::uint64_t address =
            foreign_addresses + (reached == nullptr ? 0 : reached->address);
        const std::string name = reached == nullptr ? "" : name_for(own_name, reached->name);
        return {fmt::format("{0:#x},{0:#x},{1}", address,
                            unknown_position(name.empty() ? unknown_name : name)),
                false};
    }
    const Place last = code_.block_end(transfer.destination);
    const std::string addresses =
        fmt::format("{:#x},{:#x},", programs.written_address(transfer.destination),
                    programs.written_address(last));
    const bool namesake = function->name == own_name &&
                          !code_.is_in_one_function(transfer.source, transfer.destination);
    if (namesake) return {addresses + namesake_fields(last), false};
    const End& end = end_of(last);
    return {addresses + end.fields, end.has_line};
}

std::string EdgeTable::namesake_fields(Place place) {
    const std::string name = other_spelling(code_.programs().function_at(place)->name);
    bool has_line = false;
    return name.empty() ? unknown_position(unknown_name) : end_fields(place, name, has_line);
}

const ForeignFunction* EdgeTable::foreign_function(Place place) const {
    if (!is_foreign(place) || place - foreign >= foreign_functions_.size()) return nullptr;
    return &foreign_functions_[place - foreign];
}

bool EdgeTable::is_entry(Place source) const {
    const Place start = *code_.function_start(source);
    return code_.is_instruction(start) && code_.block_end(start) == source;
}

std::uint64_t EdgeTable::scaled(std::uint64_t count) const {
    const std::uint64_t rest = count % options_.scale;
    const std::uint64_t rounded = count / options_.scale + (rest >= options_.scale - rest ? 1 : 0);
    return options_.scale == 1 ? count : std::max<std::uint64_t>(rounded, 1);
}

void EdgeTable::write_row(const Transfer& transfer, std::FILE* output, Summary& summary) {
    const Programs& programs = code_.programs();
    const Place source = transfer.source;
    const End from = end_of(source);
    const End to = destination_of(transfer);
    const std::string fields =
        fmt::format("{:#x},{},{},{},{},", programs.written_address(source), text_of(transfer.word),
                    is_entry(source) ? "yes" : "no", from.fields, to.fields);
    const std::uint64_t count = scaled(transfer.count);
    for (const std::uint64_t part : exact_parts(count)) {
        write_text(fmt::format("{}{}\n", fields, part), output);
        ++summary.rows;
    }
    summary.hits += count;
    const bool within = code_.is_in_one_function(source, transfer.destination);
    if (within && !(from.has_line && to.has_line)) summary.hits_without_line += count;
    if (count >= first_large_count) ++summary.large_edges;
    summary.largest_count = std::max(summary.largest_count, count);
}

Summary EdgeTable::write(std::span<const Transfer> transfers, std::FILE* output) {
    std::vector<Transfer> rows;
    std::copy_if(transfers.begin(), transfers.end(), std::back_inserter(rows),
                 [&](const Transfer& transfer) {
                     return transfer.count > 0 &&
                            code_.programs().function_at(transfer.source) != nullptr;
                 });
    std::sort(rows.begin(), rows.end(), [](const Transfer& one, const Transfer& other) {
        return std::tie(one.source, one.destination, one.word) <
               std::tie(other.source, other.destination, other.word);
    });
    write_text(header, output);
    Summary summary;
    for (const Transfer& transfer : rows) write_row(transfer, output, summary);
    return summary;
}

}  // namespace edgefile
