#pragma once
// What one file format gives the object model. A Document is the content of
// one workbook held by the engine: a source opened from a file (read-only, its
// bytes kept mapped) or a one-sheet copy made from one. Every format module
// (OOXML, BIFF8) implements it; the object model never looks inside.

#include "crypto/PasswordSupply.h"
#include "platform/sys/ByteSink.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace excel {

enum class Family { Ooxml, Biff8 };

// The workbook a copy is made from, as the copy's external references name it.
struct CopySource {
    std::string fullName;  // absolute path of the source file
    std::string name;      // its file name

    friend bool operator==(const CopySource&, const CopySource&) = default;
};

class Document {
public:
    virtual ~Document() = default;

    virtual Family family() const = 0;

    // The worksheets in tab order, hidden and very hidden ones included; chart
    // sheets, dialog sheets and macro sheets are not worksheets. Names exactly
    // as stored.
    virtual const std::vector<std::string>& worksheetNames() const = 0;

    // A new one-sheet workbook holding worksheet `index` (into worksheetNames)
    // and everything it reaches. References to other sheets become external
    // references to `source`. Throws tb::Error.
    virtual std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const = 0;

    // Writes the whole file. Throws tb::Error; what the sink throws passes through.
    virtual void save(tb::ByteSink& out) const = 0;
};

// Opens a workbook from its bytes, telling the format by content. `file` names
// it in errors; an encrypted one is tried with `passwords`. Throws tb::Error
// 1004 for anything that is not a readable workbook (not a workbook, no
// password given opens it, damaged, an unsupported version).
std::unique_ptr<Document> openDocument(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file,
                                       const crypto::PasswordSupply& passwords = {});

}  // namespace excel
