// Register numbers and sizes that the memories of several loggers have in common.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ulix::record_memory {

// 0 or 1: no program is reading the memory. Any other value is the mark of a program that reads it. Read with function
// 3, written with function 6.
inline constexpr std::uint16_t kLockRegister = 10016;

// Loggers of the mailbox family (drivers/loggers/memolog).
inline constexpr std::size_t kRecordBytes = 8;
inline constexpr std::uint16_t kRecordsPerRead = 48;

// Acquisition units with a window on their memory. The number of the first wanted record is written to one register
// (function 6); the records are then read from the registers after it (function 3).
inline constexpr std::uint16_t kWindowFirstRegister = 10017;
inline constexpr std::uint16_t kWindowRegister = 10018;
inline constexpr std::size_t kWindowRecordBytes = 6;
inline constexpr std::uint16_t kWindowRecordsPerRead = 30;  // 90 registers

}  // namespace ulix::record_memory
