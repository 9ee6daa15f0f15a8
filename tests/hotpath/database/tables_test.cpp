#include "hotpath/database/tables.h"

#include <gtest/gtest.h>

#include <string>

namespace hotpath {
namespace {

// "0 sf_id 0, 1 sf_filename 3": place, name and kind of each column.
std::string descriptor_text(const TableSpec& table) {
    std::string text;
    for (const ColumnSpec& column : table.columns) {
        if (!text.empty()) text += ", ";
        text += std::to_string(column.index) + " " + column.name + " " +
                std::to_string(static_cast<std::uint32_t>(column.kind));
    }
    return text;
}

TEST(SampleDbSchema, column_kinds_have_fixed_numbers) {
    EXPECT_EQ(static_cast<std::uint32_t>(ColumnKind::PrimaryKey), 0U);
    EXPECT_EQ(static_cast<std::uint32_t>(ColumnKind::Int32), 1U);
    EXPECT_EQ(static_cast<std::uint32_t>(ColumnKind::Int64), 2U);
    EXPECT_EQ(static_cast<std::uint32_t>(ColumnKind::Text), 3U);
}

TEST(SampleDbSchema, the_two_key_value_tables_have_the_same_columns) {
    EXPECT_EQ(descriptor_text(version_table), "0 sf_key 3, 1 sf_value 3");
    EXPECT_EQ(version_table.columns.data(), run_info_table.columns.data());
}

TEST(SampleDbSchema, a_file_row_has_an_id_and_a_name) {
    EXPECT_EQ(descriptor_text(filenames_table), "0 sf_id 0, 1 sf_filename 3");
}

TEST(SampleDbSchema, a_function_row_has_five_columns) {
    EXPECT_EQ(descriptor_text(functions_table),
              "0 sf_id 0, 1 sf_func_name 3, 2 sf_file_id 1, 3 sf_exec_count 2, 4 sf_flags 2");
}

TEST(SampleDbSchema, an_edge_row_has_fourteen_columns) {
    EXPECT_EQ(descriptor_text(edges_table),
              "0 sf_from_func_id 1, 1 sf_from_address 2, 2 sf_from_abs_line 1, "
              "3 sf_from_rel_line 1, 4 sf_from_column 1, 5 sf_from_discr 1, 6 sf_to_func_id 1, "
              "7 sf_to_bb_end_address 2, 8 sf_to_abs_line 1, 9 sf_to_rel_line 1, "
              "10 sf_to_column 1, 11 sf_to_discr 1, 12 sf_exec_count 2, 13 sf_flags 2");
}

TEST(SampleDbSchema, a_call_row_has_five_columns) {
    EXPECT_EQ(descriptor_text(calls_table),
              "0 sf_from_func_id 1, 1 sf_from_abs_line 1, 2 sf_from_rel_line 1, "
              "3 sf_to_func_name 3, 4 sf_exec_count 2");
}

TEST(SampleDbSchema, a_key_value_table_is_created_with_two_text_columns) {
    EXPECT_EQ(create_table_sql(version_table),
              "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT)");
    EXPECT_EQ(create_table_sql(run_info_table),
              "CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT)");
}

TEST(SampleDbSchema, the_file_table_is_created_with_a_primary_key) {
    EXPECT_EQ(create_table_sql(filenames_table),
              "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT)");
}

TEST(SampleDbSchema, the_function_table_is_created_without_constraints_on_names) {
    EXPECT_EQ(create_table_sql(functions_table),
              "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, "
              "sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)");
}

TEST(SampleDbSchema, the_edge_table_is_created_without_a_primary_key) {
    EXPECT_EQ(create_table_sql(edges_table),
              "CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER, "
              "sf_from_abs_line INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER, "
              "sf_from_discr INTEGER, sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER, "
              "sf_to_abs_line INTEGER, sf_to_rel_line INTEGER, sf_to_column INTEGER, "
              "sf_to_discr INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)");
}

TEST(SampleDbSchema, the_call_table_is_created_without_a_primary_key) {
    EXPECT_EQ(create_table_sql(calls_table),
              "CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER, "
              "sf_from_rel_line INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER)");
}

TEST(SampleDbSchema, an_index_names_its_table_and_column) {
    EXPECT_EQ(create_index_sql("idx1", edges_table, 0),
              "CREATE INDEX idx1 ON sf_edges(sf_from_func_id)");
    EXPECT_EQ(create_index_sql("idx2", calls_table, 0),
              "CREATE INDEX idx2 ON sf_calls(sf_from_func_id)");
}

}  // namespace
}  // namespace hotpath
