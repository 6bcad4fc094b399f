#pragma once
// The engine paths the fuzz targets and the regression test drive, so that a
// committed crasher is replayed through exactly the code that found it.

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Open a package or compound file from the buffer and list its worksheets.
void listOoxml(const std::uint8_t* data, std::size_t size);
void listCompoundFile(const std::uint8_t* data, std::size_t size);
// Open, copy the first worksheets one by one and save each copy to memory;
// the saved copy is opened again and must list exactly one worksheet. The
// OOXML input is the package's parts as text ("@@ <name>" lines before each
// part), zipped here, so that mutations reach the XML.
void copyOoxml(const std::uint8_t* data, std::size_t size);
void copyBiff(const std::uint8_t* data, std::size_t size);
// The same for a workbook with a password to open (a compound file holding
// an encrypted package or an encrypted Workbook stream), opened with Excel's
// built-in password or "tamberlin".
void copyEncrypted(const std::uint8_t* data, std::size_t size);
// Tokenize the text as a formula and rewrite its references as a copy of one
// sheet of a three-sheet workbook does.
void rewriteFormula(const std::uint8_t* data, std::size_t size);

}  // namespace fuzz
