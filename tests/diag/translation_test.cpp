#include "diag/translation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "diag/reporter.h"
#include "support/captured_stderr.h"

namespace diag {
namespace {

using test_support::captured_stderr;

MessageRow row_with(const char* row_text) {
    return {30097, "PT_edgefold_no_files", 20, 0, 6, 0, 1, "", row_text, nullptr};
}

bool passes(const char* translated, const char* built_in) {
    return verify_translation(translated, row_with(built_in));
}

TEST(VerifyTranslation, equal_text_passes_unread) {
    EXPECT_EQ(captured_stderr([] { EXPECT_TRUE(passes("%q", "%q")); }), "");
}

TEST(VerifyTranslation, text_without_conversions_may_say_anything) {
    EXPECT_TRUE(passes("Innerer Fehler.", "Internal error."));
    EXPECT_TRUE(passes("", "Internal error."));
}

TEST(VerifyTranslation, same_conversions_in_the_same_order_pass) {
    EXPECT_TRUE(passes("<%s> <%d>", "%s and %d"));
}

TEST(VerifyTranslation, conversions_in_another_order_fail) {
    EXPECT_FALSE(passes("%d and %s", "%s and %d"));
}

TEST(VerifyTranslation, another_number_of_conversions_fails) {
    EXPECT_FALSE(passes("nothing", "%s"));
    EXPECT_FALSE(passes("%s%s", "%s"));
    EXPECT_FALSE(passes("%s", "nothing"));
}

TEST(VerifyTranslation, another_conversion_fails) { EXPECT_FALSE(passes("%d", "%s")); }

TEST(VerifyTranslation, backslash_hides_the_next_character) {
    EXPECT_TRUE(passes("nothing", "\\%s"));
    EXPECT_TRUE(passes("%s", "\\\\%s"));
    EXPECT_TRUE(passes("nothing", "ends in \\"));
}

TEST(VerifyTranslation, plain_conversion_is_one_character) {
    EXPECT_TRUE(passes("%cer %der %ser %uer %xer", "%c %d %s %u %x"));
    EXPECT_TRUE(passes("%s1", "%s2"));
}

TEST(VerifyTranslation, conversion_with_a_flag_or_width_ends_at_d_f_s_or_x) {
    EXPECT_TRUE(passes("%-10sa", "%-10sb"));
    EXPECT_TRUE(passes("%+da", "%+db"));
    EXPECT_TRUE(passes("%.3fa", "%.3fb"));
    EXPECT_TRUE(passes("%08xa", "%08xb"));
    EXPECT_TRUE(passes("%9sa", "%9sb"));
    EXPECT_TRUE(passes("%I64da", "%I64db"));
    EXPECT_FALSE(passes("%-10s", "%-11s"));
}

TEST(VerifyTranslation, conversion_with_a_flag_or_width_and_no_such_end_is_the_whole_word) {
    EXPECT_FALSE(passes("%5ua", "%5u"));
    EXPECT_FALSE(passes("%I64ua", "%I64u"));
    EXPECT_TRUE(passes("<%5u>", "%5u"));
}

TEST(VerifyTranslation, letters_of_either_case_and_digits_make_the_word) {
    EXPECT_TRUE(passes("%5azAZ09/", "%5azAZ09"));
    for (const std::string behind : {"/", ":", "@", "[", "`", "{", "~", "\xc3\xbc"})
        EXPECT_TRUE(passes(("%5u" + behind).c_str(), "%5u")) << behind;
    for (const std::string behind : {"0", "9", "A", "Z", "a", "z"})
        EXPECT_FALSE(passes(("%5u" + behind).c_str(), "%5u")) << behind;
}

TEST(VerifyTranslation, long_conversion_ends_at_d_l_or_u) {
    EXPECT_TRUE(passes("%lda", "%ldb"));
    EXPECT_TRUE(passes("%lua", "%lub"));
    EXPECT_FALSE(passes("%ld", "%lu"));
    EXPECT_FALSE(passes("%lxa", "%lxb"));
}

TEST(VerifyTranslation, second_l_of_a_long_conversion_ends_it) {
    EXPECT_TRUE(passes("%lld", "%llu"));
}

TEST(VerifyTranslation, percent_sign_stands_with_the_word_behind_it) {
    EXPECT_TRUE(passes("100%% of it", "all %%"));
    EXPECT_TRUE(passes("<%%d>", "%%d"));
    EXPECT_FALSE(passes("%%d", "%%"));
    EXPECT_FALSE(passes("%d", "%%d"));
}

TEST(VerifyTranslation, unknown_conversion_is_reported_for_each_text_and_compared) {
    const std::int32_t errors = error_count();
    EXPECT_EQ(captured_stderr([] { EXPECT_TRUE(passes("a %q7z", "b %q7z")); }),
              "error #13002: unexpected format message argument:  q7z\n"
              "error #13002: unexpected format message argument:  q7z\n");
    EXPECT_EQ(error_count(), errors + 2);
    EXPECT_EQ(captured_stderr([] { EXPECT_FALSE(passes("%s", "%p")); }),
              "error #13002: unexpected format message argument:  p\n");
}

TEST(VerifyTranslation, percent_sign_at_the_end_is_an_unknown_conversion) {
    EXPECT_EQ(captured_stderr([] { EXPECT_FALSE(passes("100", "100%")); }),
              "error #13002: unexpected format message argument:  \n");
    EXPECT_EQ(captured_stderr([] { EXPECT_TRUE(passes("100 %", "all %")); }),
              "error #13002: unexpected format message argument:  \n"
              "error #13002: unexpected format message argument:  \n");
}

TEST(VerifyTranslation, numbered_conversions_may_stand_in_any_order) {
    EXPECT_TRUE(passes("%2 %1", "%1 %2"));
    EXPECT_TRUE(passes("%1 %d %s", "%s %d %1"));
}

TEST(VerifyTranslation, numbered_conversion_is_struck_out_once_found) {
    EXPECT_FALSE(passes("%1 %2", "%1 %1"));
    EXPECT_TRUE(passes("%1 %2 %1", "%1 %1 %2"));
}

TEST(VerifyTranslation, numbered_conversion_that_is_missing_fails) {
    EXPECT_FALSE(passes("%1 %3", "%1 %2"));
}

TEST(VerifyTranslation, numbers_in_the_translation_alone_free_no_order) {
    EXPECT_FALSE(passes("%1 %s", "%s %d"));
}

TEST(VerifyTranslation, failure_is_not_reported_by_the_check_itself) {
    EXPECT_EQ(captured_stderr([] { EXPECT_FALSE(passes("%d", "%s")); }), "");
}

TEST(AcceptedText, translation_that_passes_is_used) {
    EXPECT_EQ(captured_stderr([] {
                  EXPECT_EQ(accepted_text("Datei %s fehlt.", row_with("No file %s.")),
                            "Datei %s fehlt.");
              }),
              "");
}

TEST(AcceptedText, own_text_stands_for_a_translation_that_fails_and_a_warning_tells_the_id) {
    const std::int32_t errors = error_count();
    EXPECT_EQ(captured_stderr([] {
                  EXPECT_EQ(accepted_text("Datei %d fehlt.", row_with("No file %s.")),
                            "No file %s.");
              }),
              "warning #13003: message verification failed for: 30097; "
              "reverting to internal message\n");
    EXPECT_EQ(error_count(), errors);
}

}  // namespace
}  // namespace diag
