// Time stamps: days since 30 December 1899 as a double, in local time, kept to the millisecond.
#pragma once

#include <cstdint>
#include <string>

namespace ulix {

using Date = double;

// A calendar date and time of day. Plain fields in their usual ranges; `month` and `day` count from 1.
struct CivilTime {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
  int millisecond;
};

// Dates before 1899-12-30 carry their time of day away from zero, as automation hosts expect.
Date DateFromCivil(const CivilTime& time);
CivilTime CivilFromDate(Date date);

// "2026-01-31T10:11:12.345".
std::string IsoTime(Date date);

}  // namespace ulix
