#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/fake_usb_library.h"

namespace ulix {
namespace {

bool IsMapped(const std::filesystem::path& file) {
  std::ifstream maps("/proc/self/maps");
  const std::string text((std::istreambuf_iterator<char>(maps)), {});
  return text.find(file.string()) != std::string::npos;
}

TEST(SharedLibraryTest, IsGoneWhenNobodyHasIt) {
  const auto lacking = TestUsbFolder("lacks-WinUsbFlush") / platform::SharedLibraryFile("UlixWinUsb");
  {
    const auto library = platform::LoadSharedLibrary(lacking);
    ASSERT_TRUE(library);
    EXPECT_TRUE(IsMapped(lacking));
    EXPECT_TRUE((*library)->Find("WinUsbRead"));
    EXPECT_FALSE((*library)->Find("WinUsbFlush"));
  }
  EXPECT_FALSE(IsMapped(lacking));
  EXPECT_FALSE(LoadUsbLibrary(lacking.parent_path()));
  EXPECT_FALSE(IsMapped(lacking)) << "a library that lacks an entry";
}

TEST(SharedLibraryTest, TheProgramsFolderIsItsOwnWhereverItWasStartedFrom) {
  EXPECT_EQ(platform::OwnModuleFolder(), std::filesystem::canonical("/proc/self/exe").parent_path());
}

}  // namespace
}  // namespace ulix
