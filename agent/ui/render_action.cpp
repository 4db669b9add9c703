#include "agent/ui/render_action.h"

#include "agent/overloaded.h"

namespace tarn::agent::ui {

std::string renderAction(const Action& action) {
    return std::visit(
        Overloaded{
            [](const Action::MoveWindow& move) {
                return "Move Window: " + std::string(directionName(move.direction));
            },
            [](const Action::SendKeystrokeSequence& send) { return "Send: " + send.sequence; },
            [](const Action::MoveMouse& mouse) {
                std::string target = std::visit(
                    Overloaded{[](const Action::MouseTarget::App&) { return std::string("App"); },
                               [](const Action::MouseTarget::Screen& screen) {
                                   return "Screen " + std::to_string(screen.index);
                               }},
                    mouse.target.value);
                return "Move Mouse: " + target + ", " + std::string(positionName(mouse.position));
            },
        },
        action.value);
}

std::string directionTitle(Action::MoveDirection direction) {
    std::string name(directionName(direction));
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return name;
}

}  // namespace tarn::agent::ui
