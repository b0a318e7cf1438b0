#include <gtest/gtest.h>
#include <ztbase/components/component_manager.h>
#include <ztbase/components/sync_isapi_init.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "sample_component.h"
#include "scratch_dir.h"
#include "ztbase/platform/internal/system_calls.h"

using namespace ZtBase;

namespace {

const std::string kModules = ZT_MODULE_DIR;
const std::string kSample = ZT_SAMPLE_COMPONENT;
// The extension of the system's libraries.
#if defined(_WIN32)
const std::string kExt = "dll";
#else
const std::string kExt = "so";
#endif

CUniStr U(const std::string& s) {
    return CUniStr::FromUtf8(s);
}

// Each test has its own manager, so the global one's state does not carry between tests.
struct Manager {
    CComponentManager manager{new CNativeComponentManager};
    CComponentManager* operator->() { return &manager; }
};

TEST(ComponentManager, ALibraryLoadsOnceWhateverTheCaseOfItsName) {
    Manager m;
    CComponentLibrary* library = m->LoadComponent(U(kSample));
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library->GetComponentName().ToUtf8(), "Sample component");
    ASSERT_EQ(library->GetInterfaceCount(), 2);
    EXPECT_EQ(library->GetInterfaceIdx(0)->GetInterfaceName().ToUtf8(), "Sample.Greeter");
    EXPECT_EQ(library->GetInterfaceIdx(2), nullptr);
    EXPECT_EQ(library->GetInterfaceIdx(-1), nullptr);
    std::string upper = kSample;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(m->LoadComponent(U(upper)), library) << "the second name matches ignoring case";
    // Without the extension the system's one is tried too.
    Manager other;
    EXPECT_NE(other->LoadComponent(U(kSample.substr(0, kSample.size() - kExt.size() - 1))), nullptr);
}

TEST(ComponentManager, InterfacesAreFoundByNameAndCreateComponents) {
    Manager m;
    ASSERT_NE(m->LoadComponent(U(kSample)), nullptr);
    CComponentHandle greeter = m->CreateComponent(U("Sample.Greeter"));
    ASSERT_FALSE(greeter.IsNull());
    EXPECT_EQ(static_cast<sample::Greeter*>(greeter.GetComponentBody())->Greet(U("world")).ToUtf8(),
              "Hello, world!");
    CComponentHandle counter = m->CreateComponent(U("Sample.Counter")),
                     second = m->CreateComponent(U("Sample.Counter"));
    auto* c = static_cast<sample::Counter*>(counter.GetComponentBody());
    EXPECT_EQ(c->Next(), 1);
    EXPECT_EQ(c->Next(), 2);
    EXPECT_EQ(static_cast<sample::Counter*>(second.GetComponentBody())->Next(), 1);

    CComponentInterface* counting = m->FindNamedInterface(U("Sample.Counter"));
    ASSERT_NE(counting, nullptr);
    CAPIContext a = counting->CreateContext(), b = counting->CreateContext();
    EXPECT_EQ(static_cast<sample::CounterContext*>(b.GetRep())->Serial(),
              static_cast<sample::CounterContext*>(a.GetRep())->Serial() + 1);
    EXPECT_FALSE(a.Eq(b));
    EXPECT_TRUE(m->FindNamedInterface(U("Sample.Greeter"))->CreateContext().IsNull())
        << "the default context";

    EXPECT_TRUE(m->CreateComponent(U("Sample.Nothing")).IsNull());
    EXPECT_TRUE(m->CreateComponent(U("sample.greeter")).IsNull()) << "interface names are exact";
    EXPECT_EQ(m->FindLibraryFileName(U("Sample.Greeter")).ToUtf8(), "sample_component." + kExt);
    const std::string path = m->FindLibraryPath(U("Sample.Greeter")).ToUtf8();
    std::string dir = std::filesystem::path(kSample).parent_path().string() + "/";
    for (char& ch : dir)
        if (ch == '/') ch = '\\';
    EXPECT_EQ(path, dir);
    EXPECT_EQ(m->FindLibraryPath(U("Sample.Nothing")).ToUtf8(), "");
}

TEST(ComponentManager, BrokenLibrariesAreUnloadedAndGiveNull) {
    Manager m;
    for (const std::string& broken : {"no_entry." + kExt, "null_entry." + kExt, "throwing_entry." + kExt,
                                      "refusing_init." + kExt, "missing." + kExt}) {
        SCOPED_TRACE(broken);
        EXPECT_EQ(m->LoadComponent(U(kModules + "/" + broken)), nullptr);
    }
    EXPECT_EQ(m->FindNamedInterface(U("Sample.Greeter")), nullptr);
    // A refused system load is a miss too.
    platform::gSystemCalls.openLibrary = [](const char*, std::string& error) -> void* {
        error = "refused";
        return nullptr;
    };
    EXPECT_EQ(m->LoadComponent(U(kSample)), nullptr);
    platform::gSystemCalls.openLibrary = platform::kRealSystemCalls.openLibrary;
    EXPECT_NE(m->LoadComponent(U(kSample)), nullptr);
}

TEST(ComponentManager, AListFileLoadsTrimmedNamesAndCountsWhatLoaded) {
    Manager m;
    ScratchDir dir("components");
    const std::string list = dir / "components.lst";
    std::ofstream(list) << "\n   \n  " << kSample << "  \r\n\t" << kModules << "/no_entry.so\n"
                        << kModules << "/missing.so\n\n"
                        << kSample << "\n";  // the same library again: found, loaded once
    EXPECT_EQ(m->LoadComponentList(U(list)), 2);
    EXPECT_NE(m->FindNamedInterface(U("Sample.Counter")), nullptr);
    EXPECT_EQ(m->LoadComponentList(U(dir / "absent.lst")), 0);
}

TEST(ComponentManager, ADirectoryLoadsEveryLibraryButTheBaseLibrary) {
    Manager m;
    ScratchDir dir("component-dir");
    namespace fs = std::filesystem;
    fs::copy_file(kSample, dir / "sample_component." + kExt);
    fs::copy_file(kModules + "/no_entry." + kExt, dir / "no_entry." + kExt);
    // The sample under a name that ends like the base library: it would load if it were not skipped.
    fs::copy_file(kSample, dir / "libZTBASE." + kExt);
    std::ofstream(dir / "notes.txt") << "not a library";
    EXPECT_EQ(m->LoadDirectoryList(U(dir.Dir()), U(kExt)), 1);
    EXPECT_EQ(m->FindLibraryFileName(U("Sample.Greeter")).ToUtf8(), "sample_component." + kExt);
    EXPECT_EQ(m->LoadDirectoryList(U(dir / "absent"), U(kExt)), 0);
}

TEST(ComponentManager, HasFunctionLooksInLoadedAndUnloadedLibraries) {
    Manager m;
    EXPECT_TRUE(m->HasFunction(U(kSample), U("_GetLibraryClass@0"))) << "not loaded: loaded for the question";
    EXPECT_FALSE(m->HasFunction(U(kModules + "/no_entry." + kExt), U("GetLibraryClass")));
    EXPECT_TRUE(m->HasFunction(U(kModules + "/no_entry." + kExt), U("SomethingElse")));
    ASSERT_NE(m->LoadComponent(U(kSample)), nullptr);
    EXPECT_TRUE(m->HasFunction(U(kSample), U("GetLibraryClass")));
    EXPECT_FALSE(m->HasFunction(U(kSample), U("NoSuchFunction")));
    EXPECT_FALSE(m->HasFunction(U(kModules + "/missing." + kExt), U("GetLibraryClass")));
}

TEST(ComponentManager, ClosingForgetsTheLibrariesAndAnEmptyManagerAnswersEmpty) {
    Manager m;
    ASSERT_NE(m->LoadComponent(U(kSample)), nullptr);
    m->ClosingProgram();
    EXPECT_EQ(m->FindNamedInterface(U("Sample.Greeter")), nullptr);
    EXPECT_NE(m->LoadComponent(U(kSample)), nullptr) << "loading again after closing works";

    CComponentManager empty;
    EXPECT_EQ(empty.LoadComponent(U(kSample)), nullptr);
    EXPECT_EQ(empty.LoadComponentList(U("x")), 0);
    EXPECT_TRUE(empty.CreateComponent(U("Sample.Greeter")).IsNull());
    EXPECT_FALSE(empty.HasFunction(U(kSample), U("GetLibraryClass")));
    EXPECT_EQ(empty.FindLibraryFileName(U("x")).ToUtf8(), "");
    empty.ClosingProgram();
}

TEST(ComponentManager, TheGlobalManagerAndTheStartUpFlagAreReady) {
    EXPECT_TRUE(gSyncIsapiInit.IsIISInitialized());
    ASSERT_NE(gComponentManager.GetRep(), nullptr);
    EXPECT_EQ(gComponentManager.GetRep()->GetOwner(), &gComponentManager);
    bool initialized;
    {
        CSyncIsapiInit local;
        initialized = local.IsIISInitialized();
    }
    EXPECT_TRUE(initialized);
}

}  // namespace
