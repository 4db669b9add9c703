#pragma once

#include <QFrame>
#include <array>

#include "agent/config.h"

class QCheckBox;

namespace tarn::agent::ui {

// Six checkboxes over a StateFilters value: for full width, align right and align left,
// whether the state takes part in cycling on the primary screen and on the others. A click
// hands out the whole value with that one flag changed; the owner decides where it goes.
class StateFiltersEditor final : public QFrame {
    Q_OBJECT
  public:
    explicit StateFiltersEditor(QWidget* parent = nullptr);

    // Shows the value without reporting it back.
    void setFilters(const StateFilters& filters);
    StateFilters filters() const { return filters_; }
    // Only left and right moves visit these states; for anything else the editor is hidden
    // and takes no room.
    void setHorizontalAction(bool horizontal) { setVisible(horizontal); }

  signals:
    void filtersEdited(const tarn::agent::StateFilters& filters);

  private:
    StateFilters filters_;
    std::array<QCheckBox*, 6> boxes_{};
};

}  // namespace tarn::agent::ui
