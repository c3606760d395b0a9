// A host program: its tests run in a single-threaded apartment.
#include <gtest/gtest.h>
#include <windows.h>
// After the one above, which it needs.
#include <objbase.h>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int result = RUN_ALL_TESTS();
  CoFreeUnusedLibrariesEx(0, 0);
  CoUninitialize();
  return result;
}
