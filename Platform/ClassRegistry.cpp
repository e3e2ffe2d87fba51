#include "Platform/ClassRegistry.h"

#include "Platform/FatalError.h"
#include "Platform/KeyedArchive.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace tarn {

namespace {

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<std::string_view, const ClassDescription*> classes;
};

// Never destroyed, so that registration and archives work while other statics come and go.
Registry& registry() {
    static auto& instance = *new Registry;
    return instance;
}

} // namespace

void registerClass(const ClassDescription& description) {
    Registry& all = registry();
    const std::unique_lock lock(all.mutex);
    const auto [known, isNew] = all.classes.try_emplace(description.name, &description);
    if (!isNew && known->second != &description)
        fatalError("Two classes are registered under the name " + std::string(description.name));
}

const ClassDescription* registeredClass(std::string_view name) {
    Registry& all = registry();
    const std::shared_lock lock(all.mutex);
    const auto found = all.classes.find(name);
    return found == all.classes.end() ? nullptr : found->second;
}

} // namespace tarn
