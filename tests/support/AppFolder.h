#pragma once
// An application folder for one test: the program's real Icon/ and help/
// beside a settings file the test writes.

#include "TempDir.h"

#include <filesystem>

namespace support {

inline void copyResources(const std::filesystem::path& sourceDir, const std::filesystem::path& appDir)
{
    namespace fs = std::filesystem;
    for (const char* folder : {"Icon", "help"})
        fs::copy(sourceDir / folder, appDir / folder, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

inline void writeConfig(const std::filesystem::path& appDir, const std::vector<std::u16string>& lines)
{
    std::filesystem::create_directories(appDir / "Config");
    writeBytes(appDir / "Config" / "Config.cfg", utf16File(lines));
}

// The settings file the program ships with, in the words the tests expect.
inline std::vector<std::u16string> standardConfig()
{
    return {u"DisplayExcel=0",
            u"DisplayExcelAlerts=0",
            u"frmMainCaption=Tamberlin",
            u"HomePage=https://www.tamberlin.org/",
            u"SupportEmail=mailto:support@tamberlin.org",
            u"ErrCantSetfrmMainCaption=caption failed",
            u"ErrCantInitImageList=image list failed",
            u"ErrCantInitToolbar=toolbar failed",
            u"ErrCantInitListView=list failed",
            u"ErrCantOpenWorkbook=cannot open"};
}

}  // namespace support
