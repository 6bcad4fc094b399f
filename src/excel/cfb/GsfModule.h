#pragma once
// The entry point of the module that reads and writes compound files through
// libgsf. libgsf and the GLib stack under it (GIO, libxml2, ICU) took half
// the command line's start to load, and only .xls workbooks need them, so
// they are loaded with the first compound file opened or written.

#include "CompoundFile.h"

namespace excel::cfb {

struct GsfFunctions {
    int version;  // kGsfModuleVersion: the module and the engine were built together
    std::unique_ptr<Storage> (*open)(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);
    void (*write)(const Node& root, tb::ByteSink& out, const std::string& file);
};

constexpr int kGsfModuleVersion = 2;
constexpr const char* kGsfModuleFile = "tamberlin-cfb.so";
constexpr const char* kGsfModuleEntry = "tamberlin_cfb_functions";

}  // namespace excel::cfb

extern "C" const excel::cfb::GsfFunctions* tamberlin_cfb_functions();
