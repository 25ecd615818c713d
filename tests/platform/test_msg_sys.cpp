#include <gtest/gtest.h>

#include <string>

#include "msg_sys.h"

namespace {

TEST(MsgInternalError, CaptureKeepsBothFormsInOrderWithTheirOrigin) {
  MSG_CAPTURE capture;
  MSG_INTERNAL_ERROR::report(std::string("Bad DMF file: Line 3 is invalid"), "DTM", "dtm_gen", 41);
  MSG_INTERNAL_ERROR::report("node != 0", "DTM", "dtm_node", 7);
  ASSERT_EQ(capture.get_count(), 2u);
  const MSG_REPORT& first = capture.get_reports()[0];
  EXPECT_EQ(first.m_module, "DTM");
  EXPECT_EQ(first.m_source, "dtm_gen");
  EXPECT_EQ(first.m_source_line, 41);
  EXPECT_EQ(first.m_text, "Bad DMF file: Line 3 is invalid");
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"Bad DMF file: Line 3 is invalid", "node != 0"}));
  EXPECT_EQ(capture.count_text("node != 0"), 1u);
  EXPECT_EQ(capture.count_text("node"), 0u);
}

TEST(MsgInternalError, NullArgumentsAreReportedAsEmptyText) {
  MSG_CAPTURE capture;
  MSG_INTERNAL_ERROR::report(static_cast<const char*>(nullptr), nullptr, nullptr, 0);
  ASSERT_EQ(capture.get_count(), 1u);
  EXPECT_EQ(capture.get_reports()[0].m_text, "");
  EXPECT_EQ(capture.get_reports()[0].m_module, "");
}

TEST(MsgInternalError, NestedCapturesRestoreThePreviousPolicy) {
  MSG_POLICY* const before = MSG_INTERNAL_ERROR::get_policy();
  MSG_CAPTURE outer;
  {
    MSG_CAPTURE inner;
    MSG_INTERNAL_ERROR::report("inner", "M", "s", 1);
    EXPECT_EQ(inner.get_count(), 1u);
  }
  MSG_INTERNAL_ERROR::report("outer", "M", "s", 2);
  EXPECT_EQ(outer.get_texts(), std::vector<std::string>{"outer"});
  EXPECT_EQ(MSG_INTERNAL_ERROR::get_policy(), &outer);
  (void)before;
}

TEST(MsgInternalError, ForwardingCaptureAlsoHandsReportsOn) {
  MSG_CAPTURE outer;
  {
    MSG_CAPTURE inner(/*forward=*/true);
    MSG_INTERNAL_ERROR::report("both", "M", "s", 1);
  }
  EXPECT_EQ(outer.get_texts(), std::vector<std::string>{"both"});
}

TEST(MsgInternalError, DefaultPolicyWritesOneLineToStandardError) {
  testing::internal::CaptureStderr();
  MSG_INTERNAL_ERROR::report("Device listing not found in DMF file", "DTM", "dtm_gen", 12);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, "DTM dtm_gen:12: Device listing not found in DMF file\n");
}

TEST(MsgInternalError, ReportCountGrowsWithEveryReport) {
  MSG_CAPTURE capture;
  const std::size_t before = MSG_INTERNAL_ERROR::get_report_count();
  MSG_INTERNAL_ERROR::report("a", "M", "s", 1);
  MSG_INTERNAL_ERROR::report(std::string("b"), "M", "s", 1);
  EXPECT_EQ(MSG_INTERNAL_ERROR::get_report_count(), before + 2);
}

int g_seen_argc = -1;
const char* g_seen_arg = nullptr;

TEST(MsgExeMain, PassesArgumentsAndReturnsTheStatus) {
  char program[] = "prog";
  char file[] = "model.ddb";
  char* argv[] = {program, file, nullptr};
  const int status = msg_exe_main(2, argv, [](int argc, const char** args) {
    g_seen_argc = argc;
    g_seen_arg = args[1];
    return 7;
  });
  EXPECT_EQ(status, 7);
  EXPECT_EQ(g_seen_argc, 2);
  EXPECT_STREQ(g_seen_arg, "model.ddb");
}

TEST(MsgExeMain, AStrayExceptionIsReportedAndGivesStatusOne) {
  MSG_CAPTURE capture;
  char program[] = "prog";
  char* argv[] = {program, nullptr};
  const int status = msg_exe_main(1, argv, [](int, const char**) -> int {
    throw std::runtime_error("boom");
  });
  EXPECT_EQ(status, 1);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"uncaught exception: boom"});
}

TEST(MsgSetStackSize, ZeroKeepsTheDefaultAndNegativeIsRefused) {
  EXPECT_TRUE(msg_set_stack_size(0));
  EXPECT_FALSE(msg_set_stack_size(-1));
  EXPECT_TRUE(msg_set_stack_size(64 * 1024));  // below any default limit
}

}  // namespace
