#pragma once
// A copy of a package with one sheet renamed in its workbook part, as only a
// forged file can carry a name that Excel refuses.

#include "excel/zip/ZipReader.h"
#include "excel/zip/ZipWriter.h"
#include "platform/sys/ByteSink.h"
#include "platform/sys/FileBytes.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace support {

inline void renameSheet(const std::filesystem::path& from, const std::filesystem::path& to, const std::string& oldName,
                        const std::string& newName)
{
    excel::zip::ZipReader in(tb::fs::openFileBytes(from), from.string());
    tb::MemorySink sink;
    excel::zip::ZipWriter out(sink, to.string());
    for (const auto& e : in.entries()) {
        std::string data = in.read(e);
        if (e.name == "xl/workbook.xml") {
            const std::string before = "name=\"" + oldName + "\"";
            data.replace(data.find(before), before.size(), "name=\"" + newName + "\"");
        }
        out.add(e.name, data);
    }
    out.finish();
    std::ofstream(to, std::ios::binary).write(reinterpret_cast<const char*>(sink.data.data()),
                                              static_cast<std::streamsize>(sink.data.size()));
}

}  // namespace support
