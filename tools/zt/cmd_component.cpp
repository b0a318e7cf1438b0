// zt component: loads component libraries (by name, from list files and from directories) and prints what
// each offers; --create makes a component through a named interface, to show that it works.
//
// Output: one line per loaded library, the name it was loaded under and its component name in
// parentheses, then one indented line per interface. A name that does not load is reported on standard
// error. Exit 1 when nothing loaded or no loaded library offers the interface to create.
#include "zt.h"

namespace zt {

Command AddComponentCommand(CLI::App& zt) {
    struct Options {
        std::vector<std::string> names, lists, directories;
#if defined(_WIN32)
        std::string extension = "dll", create;
#else
        std::string extension = "so", create;
#endif
    };
    auto o = std::make_shared<Options>();
    CLI::App* app = zt.add_subcommand("component", "Load component libraries and list their interfaces");
    app->add_option("names", o->names, "Libraries to load, by file name or path");
    app->add_option("-l,--list", o->lists, "A list file: one library name a line");
    app->add_option("-d,--dir", o->directories, "A directory whose libraries are all loaded");
    app->add_option("-e,--ext", o->extension, "The extension of the libraries in --dir directories")
        ->capture_default_str();
    app->add_option("-c,--create", o->create, "Create a component through this interface");
    return {app, [o] {
                using ZtBase::CUniStr;
                ZtBase::CComponentManager& manager = ZtBase::gComponentManager;
                for (const std::string& name : o->names)
                    if (!manager.LoadComponent(CUniStr::FromUtf8(name)))
                        std::fprintf(stderr, "zt: %s: not a component library\n", name.c_str());
                for (const std::string& list : o->lists) manager.LoadComponentList(CUniStr::FromUtf8(list));
                for (const std::string& dir : o->directories)
                    manager.LoadDirectoryList(CUniStr::FromUtf8(dir), CUniStr::FromUtf8(o->extension));
                const auto* native = dynamic_cast<const ZtBase::CNativeComponentManager*>(manager.GetRep());
                const auto loaded = native ? native->GetLoadedLibraries()
                                           : std::vector<std::pair<CUniStr, ZtBase::CComponentLibrary*>>();
                for (const auto& [name, library] : loaded) {
                    std::printf("%s  (%s)\n", name.ToUtf8().c_str(),
                                library->GetComponentName().ToUtf8().c_str());
                    for (int i = 0, n = library->GetInterfaceCount(); i < n; ++i)
                        if (ZtBase::CComponentInterface* face = library->GetInterfaceIdx(i))
                            std::printf("    %s\n", face->GetInterfaceName().ToUtf8().c_str());
                }
                if (!o->create.empty()) {
                    const CUniStr face = CUniStr::FromUtf8(o->create);
                    if (manager.CreateComponent(face).IsNull())
                        throw Failure{kBadInput, "zt: no loaded library offers " + o->create};
                    std::printf("created a component through %s from %s\n", o->create.c_str(),
                                manager.FindLibraryFileName(face).ToUtf8().c_str());
                }
                if (std::fflush(stdout) != 0) throw Failure{kIoError, "standard output: write error"};
                return loaded.empty() ? kBadInput : kOk;
            }};
}

}  // namespace zt
