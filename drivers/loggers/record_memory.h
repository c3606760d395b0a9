// Numbers that loggers' recorded memories have in common on their registers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ulix::record_memory {

// 0 or 1: nobody reads the memory; any other value is the mark of a reader. Read with function 3, written with 6.
inline constexpr std::uint16_t kLockRegister = 10016;

// Loggers of the mailbox family (drivers/loggers/memolog).
inline constexpr std::size_t kRecordBytes = 8;
inline constexpr std::uint16_t kRecordsPerRead = 48;

// Acquisition units with a window on their memory: the number of the first record wanted is written to one register
// (function 6), the records are read from the next ones (function 3).
inline constexpr std::uint16_t kWindowFirstRegister = 10017;
inline constexpr std::uint16_t kWindowRegister = 10018;
inline constexpr std::size_t kWindowRecordBytes = 6;
inline constexpr std::uint16_t kWindowRecordsPerRead = 30;  // 90 registers

}  // namespace ulix::record_memory
