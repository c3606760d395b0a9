#include "tools/ulix/progress_bar.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

TEST(ProgressLine, LongText_FitsTheTerminal) {
  EXPECT_EQ(cli::ProgressLine({40, "Reading...", "bloc 2 from 5"}, 79),
            "Reading...  [########............]  40 %  bloc 2 from 5");
  EXPECT_EQ(cli::ProgressLine({100, "Reading...", "x"}, 20), "Reading...  [######…");
}

}  // namespace
}  // namespace ulix
