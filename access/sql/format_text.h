// Format(): numbers and dates by pictures.
#pragma once

#include <string>
#include <string_view>

namespace jet::sql {

// Named formats ("Fixed", "Standard", "Percent", "Scientific", "General Number", "Currency", "Yes/No",
// "True/False", "On/Off") and pictures of 0 # , . % and literal text, with up to three sections for positive;
// negative; zero.
std::string FormatNumber(double value, std::string_view picture);

// "General Date", "Long Date", "Medium Date", "Short Date", "Long Time", "Medium Time", "Short Time", and
// pictures of d m y (one: the day of the year) q w ww h n s c AM/PM; "m" behind "h" is the minute.
// `first_day` and `first_week` as WeekOfYear takes them.
std::string FormatDate(double date, std::string_view picture, int first_day = 1, int first_week = 1);
bool IsDatePicture(std::string_view picture);

// Pictures of @ (a character or a blank) and & (a character or nothing), filled from the right, with ! from
// the left; < and > change the letters' case; a second section is for an empty text.
std::string FormatText(std::string_view text, std::string_view picture);
bool IsTextPicture(std::string_view picture);

}  // namespace jet::sql
