// Edge files for tests: each row spells what its test is about and leaves the rest to defaults.
#pragma once

#include <initializer_list>
#include <string>

namespace test_support {

// The fields of one row as they are written, in the order of the columns. By default it is a jump
// inside of function "f", from line 10 to line 20, taken once.
struct EdgeRow {
    std::string from = "0x1000";
    std::string type = "Cond";
    std::string entry = "no";
    std::string from_file = "a.c";
    std::string from_line = "10";
    std::string from_offset = "0";
    std::string from_column = "0";
    std::string from_discriminator = "0";
    std::string from_function = "f";
    std::string to = "0x2000";
    std::string to_end = "0x2010";
    std::string to_file = "a.c";
    std::string to_line = "20";
    std::string to_offset = "0";
    std::string to_column = "0";
    std::string to_discriminator = "0";
    std::string to_function = "f";
    std::string hits = "1";
};

// The header with all 18 columns, and its line end.
inline std::string edge_header() {
    return "FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,"
           "FromSourceOffsetLine,FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,"
           "DestinationAddress,DestinationEndOfBlockAddress,DestinationSourceFile,"
           "DestinationSourceLine,DestinationSourceOffsetLine,DestinationSourceColumn,"
           "DestinationSourceDiscriminator,DestinationFunctionMangled,HitCount\n";
}

// The row as a line of a file with that header, and its line end.
inline std::string edge_row(const EdgeRow& row) {
    std::string line = row.from;
    for (const std::string* field :
         {&row.type, &row.entry, &row.from_file, &row.from_line, &row.from_offset, &row.from_column,
          &row.from_discriminator, &row.from_function, &row.to, &row.to_end, &row.to_file,
          &row.to_line, &row.to_offset, &row.to_column, &row.to_discriminator, &row.to_function,
          &row.hits})
        line += "," + *field;
    return line + "\n";
}

// A whole file: the header, then the rows.
inline std::string edge_file(std::initializer_list<EdgeRow> rows) {
    std::string text = edge_header();
    for (const EdgeRow& row : rows) text += edge_row(row);
    return text;
}

}  // namespace test_support
