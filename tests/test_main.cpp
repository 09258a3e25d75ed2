// The test programs' main: Google Test's, except that a run whose every
// selected test was skipped (the tests on ../shared/testdata's Windows images
// when that folder is absent) exits with 77, which ctest reports as a skip
// rather than a pass.
#include <gtest/gtest.h>

namespace {

constexpr int ctest_skip_status = 77;

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int status = RUN_ALL_TESTS();
  const testing::UnitTest& run = *testing::UnitTest::GetInstance();
  const bool all_skipped = run.test_to_run_count() > 0 && run.skipped_test_count() == run.test_to_run_count();
  return status == 0 && all_skipped ? ctest_skip_status : status;
}
