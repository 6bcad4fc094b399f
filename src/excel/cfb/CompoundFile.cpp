#include "CompoundFile.h"

#include "GsfModule.h"

#include "excel/EngineError.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <mutex>

namespace excel::cfb {

namespace {

// The folder of the running program, where the module is placed beside it.
std::string programFolder()
{
    char path[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return ".";
    const std::string exe(path, static_cast<std::size_t>(n));
    const auto slash = exe.rfind('/');
    return slash == std::string::npos ? "." : exe.substr(0, slash == 0 ? 1 : slash);
}

struct Loaded {
    const GsfFunctions* functions = nullptr;
    std::string failure;  // why it could not be loaded
};

const Loaded& loaded()
{
    static Loaded result;
    static std::once_flag once;
    std::call_once(once, [] {
        const std::string path = programFolder() + "/" + kGsfModuleFile;
        void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);  // kept for the process's life
        if (module == nullptr) {
            const char* why = ::dlerror();
            result.failure = "the module for Excel 97-2003 files, '" + path + "', cannot be loaded" +
                             (why ? std::string(" (") + why + ")" : "");
            return;
        }
        auto entry = reinterpret_cast<const GsfFunctions* (*)()>(::dlsym(module, kGsfModuleEntry));
        const GsfFunctions* functions = entry ? entry() : nullptr;
        if (functions == nullptr || functions->version != kGsfModuleVersion) {
            result.failure = "the module for Excel 97-2003 files, '" + path + "', is not the one built with this program";
            return;
        }
        result.functions = functions;
    });
    return result;
}

const GsfFunctions& functionsFor(const std::string& file)
{
    const Loaded& l = loaded();
    if (l.functions == nullptr)
        throw engineError(file, "cannot be read or written: " + l.failure + ".");
    return *l.functions;
}

}  // namespace

std::unique_ptr<Storage> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    return functionsFor(file).open(std::move(bytes), file);
}

void writeCompoundFile(const Node& root, tb::ByteSink& out, const std::string& file)
{
    functionsFor(file).write(root, out, file);
}

Node readTree(const Storage& parent, const std::string& name, const std::string& file)
{
    Node node;
    node.name = name;
    if (auto st = parent.openStorage(name)) {
        node.storage = true;
        node.classId = st->classId();
        for (const std::string& child : st->childNames())
            node.children.push_back(readTree(*st, child, file));
        return node;
    }
    auto s = parent.openStream(name);
    if (!s)
        throw damaged(file, "compound file", "the entry '" + name + "' cannot be opened");
    s->read(0, static_cast<std::size_t>(s->size()), node.data);
    return node;
}

}  // namespace excel::cfb
