#pragma once
// The paths a split run writes: a folder per source workbook, named by its
// short name, and in it one file per worksheet, named by the sheet and the
// literal ".xls " (five characters, the last a blank). Users expect the tree
// Windows would give them, and Windows drops trailing periods and blanks
// from a name it creates: so the short name is trimmed here ("Book1." of
// "Book1.xlsx" is the folder "Book1") and SaveAs trims the file's name. The
// chosen folder is never touched: "~/ACME Inc./out" stays what it is.

#include <string>

namespace split {

// The workbook's file name without its last four characters, counted as
// 16-bit text units ("Book1.xls" -> "Book1", "Book1.xlsx" -> "Book1.").
// Throws tb::Error 5 for a name of fewer than four characters and 6 for one
// longer than a signed 16-bit count.
std::string GetWorkbookShortName(const std::string& workbookName);

// withTrailingSeparator(withTrailingSeparator(chosen) + shortName), the short
// name without its trailing periods and blanks.
std::string perWorkbookFolder(const std::string& chosenFolder, const std::string& shortName);

// folder + sheet + ".xls ". A sheet name holding "/" or a NUL would put the
// file somewhere else than the folder; such a name (which only a forged file
// can carry) throws tb::Error 1004 naming the workbook, and nothing is written.
std::string sheetFileName(const std::string& folder, const std::string& sheetName, const std::string& workbook);

}  // namespace split
