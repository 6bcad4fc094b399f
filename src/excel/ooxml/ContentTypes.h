#pragma once
// The package's [Content_Types].xml ([ECMA-376 Part 2, 10.1.2]): defaults by
// extension, overrides by part name.

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace excel::ooxml {

class ContentTypes {
public:
    static ContentTypes parse(std::string_view xml, const std::string& file);

    // Empty when the part has no type.
    std::string typeOf(const std::string& part) const;
    void setOverride(const std::string& part, const std::string& type);
    // Forgets the defaults that give this type (a copy without macros keeps
    // no default for the VBA project).
    void dropDefaultsOfType(const std::string& type);

    // The defaults as read, and an override for each of `parts` whose type
    // differs from its extension's default.
    std::string write(const std::vector<std::string>& parts) const;

private:
    std::vector<std::pair<std::string, std::string>> defaults_;  // extension (lower case), type; in file order
    std::map<std::string, std::string> overrides_;               // folded part name -> type
};

namespace ctype {
inline constexpr const char* kWorkbook = "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml";
inline constexpr const char* kMacroWorkbook = "application/vnd.ms-excel.sheet.macroEnabled.main+xml";
inline constexpr const char* kTemplate = "application/vnd.openxmlformats-officedocument.spreadsheetml.template.main+xml";
inline constexpr const char* kMacroTemplate = "application/vnd.ms-excel.template.macroEnabled.main+xml";
inline constexpr const char* kAddin = "application/vnd.ms-excel.addin.macroEnabled.main+xml";
inline constexpr const char* kBinaryWorkbook = "application/vnd.ms-excel.sheet.binary.macroEnabled.main";
inline constexpr const char* kExternalLink = "application/vnd.openxmlformats-officedocument.spreadsheetml.externalLink+xml";
inline constexpr const char* kVbaProject = "application/vnd.ms-office.vbaProject";
inline constexpr const char* kPrinterSettings =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.printerSettings";
inline constexpr const char* kRelationships = "application/vnd.openxmlformats-package.relationships+xml";
}  // namespace ctype

}  // namespace excel::ooxml
