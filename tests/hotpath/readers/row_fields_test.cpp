#include "hotpath/readers/row_fields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/random_text.h"

namespace hotpath {
namespace {

const std::string required =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount";

EdgeLayout layout_of(const std::string& header) {
    EdgeColumnMap columns;
    EXPECT_TRUE(parse_edge_header(header, columns));
    return EdgeLayout(columns);
}

// Rows of one header. Behind each line stand the bytes that may be read there.
class Rows {
public:
    explicit Rows(const std::string& header) : fields_(layout_of(header)) {}

    // The fields of these columns with "|" between them; "too few" for a short row.
    std::string cut(const std::string& line, const std::vector<EdgeColumn>& columns) {
        padded_ = line + std::string(split_overrun, '\0');
        if (!fields_.split({padded_.data(), line.size()})) return "too few";
        std::string text;
        for (const EdgeColumn column : columns) text += "|" + std::string(fields_.text(column));
        return text.substr(1);
    }
    std::string name(EdgeColumn column) const { return std::string(fields_.name(column)); }

private:
    RowFields fields_;
    std::string padded_;
};

std::string separators(std::size_t count) { return std::string(count, ','); }

TEST(RowFields, are_found_by_their_columns) {
    Rows rows(required);
    EXPECT_EQ(rows.cut("10,Jump,a.c,1,f,20,b.c,2,g,5", {HitCount, FromAddress, FromSourceFile}),
              "5|10|a.c");
}

TEST(RowFields, are_found_by_their_columns_in_a_wide_row) {
    Rows rows("x" + separators(5000) + required + separators(5000) + "EntryBlock");
    EXPECT_EQ(rows.cut("x" + separators(5000) + "10,Jump,[a,b],1,f,20,b.c,2,g,5" +
                           separators(5000) + "yes,more",
                       {EntryBlock, FromAddress, FromSourceFile, HitCount}),
              "yes|10|[a,b]|5");
}

TEST(RowFields, of_a_wide_row_can_be_too_few) {
    Rows rows("x" + separators(5000) + required);
    EXPECT_EQ(rows.cut("x" + separators(5000) + "10,Jump,a.c,1,f,20,b.c,2,g", {}), "too few");
    EXPECT_EQ(rows.cut(std::string(9000, 'x'), {}), "too few");
}

TEST(RowFields, that_are_names_end_at_a_nul) {
    for (const std::size_t columns : {0U, 5000U}) {
        const std::string front = columns == 0 ? "" : "x" + separators(columns);
        Rows rows(front + required);
        const std::string name("f\0g", 3);
        EXPECT_EQ(rows.cut(front + "10,Jump,a.c,1," + name + ",20,b.c,2,g,5", {HitCount}), "5");
        EXPECT_EQ(rows.name(FromFunctionMangled), "f");
        EXPECT_EQ(rows.name(FromSourceFile), "a.c");
    }
}

// The widest row whose fields are all kept, and the next, are cut like any list of fields.
TEST(RowFields, are_those_of_the_lists_rule_at_any_width) {
    test_support::RandomText random(7);
    for (const std::size_t columns : {1013U, 1014U, 1015U, 1016U}) {
        Rows rows("x" + separators(columns) + required);
        for (int i = 0; i < 200; ++i) {
            std::string line = "x" + separators(columns - 4);
            line += random.of(",,,,[]ab", 40);
            std::vector<std::string_view> fields;
            split_fields(line, no_field_limit, fields);
            const bool is_whole = fields.size() >= columns + 10;
            EXPECT_EQ(rows.cut(line, {FromAddress, HitCount}),
                      !is_whole
                          ? "too few"
                          : std::string(fields[columns]) + "|" + std::string(fields[columns + 9]));
        }
    }
}

}  // namespace
}  // namespace hotpath
