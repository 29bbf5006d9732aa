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
// pictures of d m y h n s AM/PM; "m" behind "h" is the minute.
std::string FormatDate(double date, std::string_view picture);
bool IsDatePicture(std::string_view picture);

}  // namespace jet::sql
