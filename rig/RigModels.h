// Hamlib's list of radio models, for `tarn-psk31 rigs` and the settings
// screen's model choice.
#pragma once

#include <string>
#include <vector>

namespace tarn::rig {

struct RigModel {
    int number = 0;
    std::string maker;
    std::string name;
};

// Every model Hamlib knows, sorted by maker, then name, then number
// (case-insensitively). Loads Hamlib's backends on first use.
std::vector<RigModel> listRigModels();

// Loads all of Hamlib's backends (and quiets Hamlib) once per process;
// rig_get_caps needs them. Idempotent.
void loadHamlibBackends();

// Keeps Hamlib's own diagnostics off stderr; every Hamlib failure reaches
// the operator as one logged line with Hamlib's message instead. Idempotent.
void quietHamlib();

} // namespace tarn::rig
