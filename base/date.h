// Time stamps: days since 30 December 1899 as a double, in local time, exact to the millisecond.
#pragma once

#include <cstdint>
#include <string>

namespace ulix {

using Date = double;

// A calendar date and time of day. `month` and `day` count from 1.
struct CivilTime {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
  int millisecond;
};

// Before 1899-12-30 the time of day is the absolute value of the fraction: -1.25 is 06:00 on 1899-12-29. Automation
// hosts expect this.
Date DateFromCivil(const CivilTime& time);
CivilTime CivilFromDate(Date date);

// "2026-01-31T10:11:12.345".
std::string IsoTime(Date date);

}  // namespace ulix
