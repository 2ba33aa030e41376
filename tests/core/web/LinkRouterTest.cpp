// Which made app claims an address this app refuses: only another app,
// whose bundle is still there, and whose allow-list names the address.
#include "TestEnvironment.h"

#include "core/config/KTPaths.h"
#include "core/web/KTLinkRouter.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quilt::test {
namespace {

class LinkRouter : public testing::Test {
protected:
    TestEnvironment env;
    KTJson registry = KTJson::object();

    std::string app(const std::string& name, const KTJson& allowList)
    {
        const std::string id = "id-" + name;
        const std::string bundle = env.makeBundle(name, "1.0", id);
        env.writeFile(bundle + "/Contents/MacOS/DefaultApp", "#!/bin/sh\n");
        ::chmod((bundle + "/Contents/MacOS/DefaultApp").c_str(), 0755);
        writeList(id, allowList);
        registry[bundle] = "1.0";
        env.writeFile(registryPath(), registry.dump());
        return bundle;
    }
    void writeList(const std::string& id, const KTJson& list)
    {
        env.writeFile(KTPaths::userDataDir() + "/Quilt/" + id + "/whitelist.json", list.dump());
    }
    static KTJson patterns(std::vector<std::string> p, bool allowPatterns = true, bool allowAll = false)
    {
        return {{"allowAll", allowAll}, {"allowPatterns", allowPatterns}, {"pattern", p}};
    }
    std::string registryPath() const { return env.root() + "/QVT/.update"; }
};

TEST_F(LinkRouter, ChoosesOnlyAnotherLiveAppWhosePatternsClaimTheAddress)
{
    const std::string chatRoom = "https://chat.example.org/room/1";
    // Listed first, each of these would answer but may not.
    const std::string gone = app("Gone", patterns({"://chat.example.org/"}));
    ::unlink((gone + "/Contents/MacOS/DefaultApp").c_str());
    app("Everything", patterns({}, false, true));
    app("Blocklist", patterns({"://evil.test/"}, false));
    // This app itself, claiming the address too.
    registry[env.bundlePath()] = "1.0";
    env.writeFile(env.bundlePath() + "/Contents/MacOS/DefaultApp", "#!/bin/sh\n");
    ::chmod((env.bundlePath() + "/Contents/MacOS/DefaultApp").c_str(), 0755);
    writeList(env.uniqueId(), patterns({"://chat.example.org/"}));
    const std::string chat = app("Chat", patterns({"://chat.example.org/"}));

    KTLinkRouter router(registryPath(), env.bundlePath());
    EXPECT_EQ(router.appFor(chatRoom), chat);
    EXPECT_EQ(router.appFor("https://mail.example.org/"), std::nullopt);
    EXPECT_EQ(router.appFor("mailto:someone@chat.example.org"), std::nullopt);

    // A changed allow-list is read again; a removed registry routes nothing.
    writeList("id-Chat", patterns({"://chat.example.org/other/"}));
    EXPECT_EQ(router.appFor(chatRoom), std::nullopt);
    EXPECT_EQ(router.appFor("https://chat.example.org/other/x"), chat);
    ::unlink(registryPath().c_str());
    EXPECT_EQ(router.appFor("https://chat.example.org/other/x"), std::nullopt);
}

TEST_F(LinkRouter, CorruptOrHostileFilesRouteNothing)
{
    const std::string chat = app("Chat", patterns({"://chat.example.org/"}));
    KTLinkRouter router(registryPath(), env.bundlePath());
    writeList("id-Chat", KTJson("not an object"));
    EXPECT_EQ(router.appFor("https://chat.example.org/"), std::nullopt);
    for (const char* text : {"", "{", "[1,2]", "{\"/nonexistent.app\": 1}"}) {
        env.writeFile(registryPath(), text);
        EXPECT_EQ(router.appFor("https://chat.example.org/"), std::nullopt) << text;
    }
}

} // namespace
} // namespace quilt::test
