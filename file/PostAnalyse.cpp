#include "qx_scriptutil/PostAnalyse.h"

#include <atomic>
#include <memory>
#include <vector>

#include "qx_platform/Singleton.h"

namespace NSQX_script {
namespace {

using HookList = std::vector<PostAnalyseFunc>;

std::atomic<HookList*> g_hooks{nullptr};

// Frees the list when the library is unloaded.
struct HookListOwner {
    ~HookListOwner() { qxp::DoubleCheckedDestroy(g_hooks); }
} g_hookListOwner;

}  // namespace

AutoRegisterPostAnalyseFunc::AutoRegisterPostAnalyseFunc(PostAnalyseFunc func) {
    if (func != nullptr) qxp::DoubleCheckedInstance(g_hooks)->push_back(func);
}

bool PostAnalyseOneCommand(MMLCmdStruct& cmd) {
    const HookList* hooks = g_hooks.load(std::memory_order_acquire);
    if (hooks == nullptr) return true;
    for (PostAnalyseFunc hook : *hooks) {
        if (!hook(cmd)) return false;
    }
    return true;
}

}  // namespace NSQX_script
