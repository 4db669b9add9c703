#pragma once

#include <string>

#include "agent/config.h"

namespace tarn::agent::ui {

// The rules table's action text: "Move Window: left", "Send: {cmd}c",
// "Move Mouse: Screen 1, Upper Corner".
std::string renderAction(const Action& action);

// A direction as the pickers show it: its name with a capital first letter ("Left").
std::string directionTitle(Action::MoveDirection direction);

}  // namespace tarn::agent::ui
