#include "program/scopes.h"

#include <dwarf.h>
#include <elfutils/libdw.h>

#include <algorithm>
#include <optional>
#include <queue>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace program {

namespace {

// Of an inlined call; the library has no name for it.
constexpr unsigned attribute_discriminator = 0x2136;
constexpr int deepest_tree = 200;
constexpr int longest_chain = 16;  // of references from a function's code to its declaration

// The attribute of the entry itself, not of one that it refers to.
std::optional<std::uint64_t> number_of(Dwarf_Die& die, unsigned name) {
    Dwarf_Attribute attribute;
    Dwarf_Word value = 0;
    if (dwarf_attr(&die, name, &attribute) == nullptr || dwarf_formudata(&attribute, &value) != 0)
        return std::nullopt;
    return value;
}

const char* text_of(Dwarf_Die& die, unsigned name) {
    Dwarf_Attribute attribute;
    return dwarf_attr(&die, name, &attribute) == nullptr ? nullptr : dwarf_formstring(&attribute);
}

// Goes from the entry to the one that it is an instance or the definition of.
bool follow(Dwarf_Die& die) {
    for (const unsigned name : {DW_AT_abstract_origin, DW_AT_specification}) {
        Dwarf_Attribute attribute;
        Dwarf_Die origin;
        if (dwarf_attr(&die, name, &attribute) != nullptr &&
            dwarf_formref_die(&attribute, &origin) != nullptr) {
            die = origin;
            return true;
        }
    }
    return false;
}

}  // namespace

// Walks the trees and fills a Scopes.
class ScopeReader {
public:
    ScopeReader(Scopes& scopes, const std::vector<AddressRange>& code, LineTable& lines)
        : scopes_(scopes), code_(code), lines_(lines) {}

    void read(Dwarf* dwarf);

private:
    struct Range {
        AddressRange range;
        int depth = 0;
        std::uint32_t scope = 0;
    };

    void read_unit(Dwarf_Die unit, Dwarf_Die skeleton);
    void note_missing(Dwarf_Die& skeleton);
    void walk(Dwarf_Die die, std::uint32_t caller, int depth);
    void visit(Dwarf_Die& die, std::uint32_t caller, int depth);
    std::uint32_t add_function(Dwarf_Die& die, int depth);
    std::uint32_t add_inlined(Dwarf_Die& die, std::uint32_t caller, int depth);
    bool add_ranges(Dwarf_Die& die, std::uint32_t scope, int depth);
    void order_parts(std::uint32_t scope, std::size_t first, Address entry);
    std::uint32_t function_index(Dwarf_Die die);
    SourceFunction describe(Dwarf_Die die);
    std::uint32_t file_of(Dwarf_Die& die, std::uint64_t number);
    const FileNumbers& files_of(Dwarf_Die& die);
    const FileNumbers& add_lines(Dwarf_Die& unit, Dwarf_Die& skeleton);
    const LineSections& sections_of(Dwarf_Die& unit, bool split);
    void flatten();

    Scopes& scopes_;
    const std::vector<AddressRange>& code_;
    LineTable& lines_;
    std::vector<Range> ranges_;
    std::unordered_map<const void*, std::uint32_t> functions_;  // by the place of the entry's bytes
    std::unordered_map<const void*, const FileNumbers*> files_;  // by unit
    std::unordered_map<const void*, LineSections> sections_;     // by file of debug information
    std::unordered_set<Address> known_code_;
    FileNumbers no_files_;
};

void ScopeReader::read(Dwarf* dwarf) {
    Dwarf_CU* unit = nullptr;
    Dwarf_Die die;
    Dwarf_Die split;
    std::uint8_t type = 0;
    while (dwarf_get_units(dwarf, unit, &unit, nullptr, &type, &die, &split) == 0) {
        const bool is_split = split.addr != nullptr;
        if (type == DW_UT_skeleton && !is_split) note_missing(die);
        read_unit(is_split ? split : die, die);
    }
    flatten();
}

void ScopeReader::note_missing(Dwarf_Die& skeleton) {
    const char* name = text_of(skeleton, DW_AT_dwo_name);
    if (name == nullptr) name = text_of(skeleton, DW_AT_GNU_dwo_name);
    if (scopes_.missing_file_.empty()) scopes_.missing_file_ = name == nullptr ? "?" : name;
}

// The line table of a split unit stands with its skeleton; what it numbers files by may be its own.
void ScopeReader::read_unit(Dwarf_Die unit, Dwarf_Die skeleton) {
    const FileNumbers& files = add_lines(skeleton, skeleton);
    files_[skeleton.cu] = &files;
    if (unit.cu != skeleton.cu) {
        const bool own = dwarf_hasattr(&unit, DW_AT_stmt_list) != 0;
        files_[unit.cu] = own ? &add_lines(unit, skeleton) : &files;
    }
    walk(unit, Scope::none, 0);
}

void ScopeReader::walk(Dwarf_Die die, std::uint32_t caller, int depth) {
    Dwarf_Die child;
    if (depth == deepest_tree || dwarf_child(&die, &child) != 0) return;
    for (;;) {
        visit(child, caller, depth + 1);
        const void* before = child.addr;
        // Damaged trees have siblings that lead back.
        if (dwarf_siblingof(&child, &child) != 0 || child.addr <= before) return;
    }
}

void ScopeReader::visit(Dwarf_Die& die, std::uint32_t caller, int depth) {
    switch (dwarf_tag(&die)) {
        case DW_TAG_subprogram: {
            const std::uint32_t scope = add_function(die, depth);
            if (scope != Scope::none) walk(die, scope, depth);
            return;
        }
        case DW_TAG_inlined_subroutine: walk(die, add_inlined(die, caller, depth), depth); return;
        case DW_TAG_lexical_block:
        case DW_TAG_try_block:
        case DW_TAG_catch_block: walk(die, caller, depth); return;
        case DW_TAG_namespace:
        case DW_TAG_module:
        case DW_TAG_structure_type:
        case DW_TAG_class_type:
        case DW_TAG_union_type: walk(die, Scope::none, depth); return;
        default: return;
    }
}

std::uint32_t ScopeReader::add_function(Dwarf_Die& die, int depth) {
    const auto scope = static_cast<std::uint32_t>(scopes_.scopes_.size());
    const std::size_t first = ranges_.size();
    if (!add_ranges(die, scope, depth)) return Scope::none;
    // Functions that the linker folded into one share their code: the first one has it.
    if (!known_code_.insert(ranges_[first].range.start).second) {
        ranges_.resize(first);
        return Scope::none;
    }
    Scope added;
    added.function = function_index(die);
    scopes_.scopes_.push_back(added);
    Dwarf_Addr entry = 0;
    if (dwarf_entrypc(&die, &entry) != 0) entry = ranges_[first].range.start;
    order_parts(scope, first, entry);
    return scope;
}

// Notes the ranges from `first` on as parts of the scope, the one with the entry in front.
void ScopeReader::order_parts(std::uint32_t scope, std::size_t first, Address entry) {
    const std::size_t first_part = scopes_.parts_.size();
    for (std::size_t i = first; i < ranges_.size(); ++i)
        scopes_.parts_.push_back({ranges_[i].range, scope});
    const auto begin = scopes_.parts_.begin() + static_cast<std::ptrdiff_t>(first_part);
    const auto with_entry =
        std::find_if(begin, scopes_.parts_.end(),
                     [&](const Scopes::Part& part) { return part.range.contains(entry); });
    if (with_entry != scopes_.parts_.end()) std::iter_swap(begin, with_entry);
}

// The scope of the inlined call; where all of its code is gone, the caller's.
std::uint32_t ScopeReader::add_inlined(Dwarf_Die& die, std::uint32_t caller, int depth) {
    const auto scope = static_cast<std::uint32_t>(scopes_.scopes_.size());
    if (caller == Scope::none || !add_ranges(die, scope, depth)) return caller;
    Scope added;
    added.caller = caller;
    added.function = function_index(die);
    added.call_file = file_of(die, number_of(die, DW_AT_call_file).value_or(0));
    added.call_line = static_cast<std::uint32_t>(number_of(die, DW_AT_call_line).value_or(0));
    added.call_column = static_cast<std::uint16_t>(
        std::min<std::uint64_t>(number_of(die, DW_AT_call_column).value_or(0), 0xFFFF));
    added.call_discriminator =
        static_cast<std::uint32_t>(number_of(die, attribute_discriminator).value_or(0));
    scopes_.scopes_.push_back(added);
    return scope;
}

// False where the entry has no code in the program.
bool ScopeReader::add_ranges(Dwarf_Die& die, std::uint32_t scope, int depth) {
    const std::size_t before = ranges_.size();
    Dwarf_Addr base = 0;
    Dwarf_Addr start = 0;
    Dwarf_Addr end = 0;
    std::ptrdiff_t offset = 0;
    while ((offset = dwarf_ranges(&die, offset, &base, &start, &end)) > 0) {
        const bool is_code = std::any_of(
            code_.begin(), code_.end(),
            [&](const AddressRange& range) { return range.contains(start) && end <= range.end; });
        if (start < end && is_code) ranges_.push_back({{start, end}, depth, scope});
    }
    return ranges_.size() > before;
}

// Instances of one function share its record.
std::uint32_t ScopeReader::function_index(Dwarf_Die die) {
    Dwarf_Die root = die;
    for (int i = 0; i < longest_chain && dwarf_hasattr(&root, DW_AT_abstract_origin) != 0; ++i)
        if (!follow(root)) break;
    const auto [place, is_new] =
        functions_.try_emplace(root.addr, static_cast<std::uint32_t>(scopes_.functions_.size()));
    if (is_new) scopes_.functions_.push_back(describe(root));
    return place->second;
}

// What the entry doesn't say stands where it refers to.
SourceFunction ScopeReader::describe(Dwarf_Die die) {
    SourceFunction function;
    const char* name = nullptr;
    const char* plain_name = nullptr;
    for (int i = 0; i < longest_chain; ++i) {
        if (name == nullptr) name = text_of(die, DW_AT_linkage_name);
        if (name == nullptr) name = text_of(die, DW_AT_MIPS_linkage_name);
        if (plain_name == nullptr) plain_name = text_of(die, DW_AT_name);
        if (function.line == 0)
            function.line = static_cast<std::uint32_t>(number_of(die, DW_AT_decl_line).value_or(0));
        if (function.file == TextIds::none)
            if (const auto number = number_of(die, DW_AT_decl_file))
                function.file = file_of(die, *number);
        if (!follow(die)) break;
    }
    if (name == nullptr) name = plain_name;
    if (name != nullptr) function.name = name;
    return function;
}

std::uint32_t ScopeReader::file_of(Dwarf_Die& die, std::uint64_t number) {
    const FileNumbers& files = files_of(die);
    return number < files.size() ? files[number] : TextIds::none;
}

// Of a unit that wasn't met yet (a later one, or one of a file that others share), the files are
// read now.
const FileNumbers& ScopeReader::files_of(Dwarf_Die& die) {
    const auto known = files_.find(die.cu);
    if (known != files_.end()) return *known->second;
    Dwarf_Die unit;
    if (dwarf_diecu(&die, &unit, nullptr, nullptr) == nullptr) return no_files_;
    const FileNumbers& files = add_lines(unit, unit);
    files_[die.cu] = &files;
    return files;
}

// Reads the unit's line table. Of a split unit's own, which has no rows, the files alone count.
const FileNumbers& ScopeReader::add_lines(Dwarf_Die& unit, Dwarf_Die& skeleton) {
    const auto offset = number_of(unit, DW_AT_stmt_list);
    if (!offset) return no_files_;
    const char* directory = text_of(skeleton, DW_AT_comp_dir);
    const bool split = unit.cu != skeleton.cu;
    return lines_.add(sections_of(unit, split), *offset, directory == nullptr ? "" : directory,
                      !split);
}

const LineSections& ScopeReader::sections_of(Dwarf_Die& unit, bool split) {
    Dwarf* dwarf = dwarf_cu_getdwarf(unit.cu);
    const auto [place, is_new] = sections_.try_emplace(dwarf);
    if (is_new) {
        Elf* elf = dwarf_getelf(dwarf);
        const std::string ending = split ? ".dwo" : "";
        place->second = {section_content(elf, ".debug_line" + ending),
                         section_content(elf, ".debug_line_str"),
                         section_content(elf, ".debug_str" + ending)};
    }
    return place->second;
}

// Cuts the ranges, which lie in each other, into pieces that don't: in each the deepest one holds.
void ScopeReader::flatten() {
    std::sort(ranges_.begin(), ranges_.end(), [](const Range& one, const Range& other) {
        return std::pair(one.range.start, one.depth) < std::pair(other.range.start, other.depth);
    });
    const auto is_shallower = [](const Range* one, const Range* other) {
        return std::pair(one->depth, one->scope) < std::pair(other->depth, other->scope);
    };
    std::priority_queue<const Range*, std::vector<const Range*>, decltype(is_shallower)> open(
        is_shallower);
    std::vector<Scopes::Piece>& pieces = scopes_.pieces_;
    const auto begin_piece = [&](Address start) {
        const std::uint32_t scope = open.empty() ? Scope::none : open.top()->scope;
        if (!pieces.empty() && pieces.back().start == start) pieces.pop_back();
        if (pieces.empty() || pieces.back().scope != scope) pieces.push_back({start, scope});
    };
    const auto close_until = [&](Address limit) {
        while (!open.empty() && open.top()->range.end <= limit) {
            const Address end = open.top()->range.end;
            while (!open.empty() && open.top()->range.end <= end) open.pop();
            begin_piece(end);
        }
    };
    for (const Range& range : ranges_) {
        close_until(range.range.start);
        open.push(&range);
        begin_piece(range.range.start);
    }
    close_until(~Address{0});
    pieces.shrink_to_fit();
}

void Scopes::read(Dwarf* dwarf, const std::vector<AddressRange>& code, LineTable& lines) {
    ScopeReader(*this, code, lines).read(dwarf);
}

std::uint32_t Scopes::find(Address address) const {
    const auto behind =
        std::upper_bound(pieces_.begin(), pieces_.end(), address,
                         [](Address wanted, const Piece& piece) { return wanted < piece.start; });
    return behind == pieces_.begin() ? Scope::none : std::prev(behind)->scope;
}

std::uint32_t Scopes::outermost(std::uint32_t index) const {
    while (index != Scope::none && scopes_[index].caller != Scope::none)
        index = scopes_[index].caller;
    return index;
}

}  // namespace program
