#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace tarn::agent::ui {

// A modal question or notice. The agent describes what to show; a presenter shows it and
// says which button was pressed, so tests answer alerts without a screen.
struct Alert {
    enum class Style { informational, warning };
    Style style = Style::informational;
    QString message;
    QString informative;
    QStringList buttons{"OK"};
    // A web address shown as a link under the text, when not empty.
    QString link;
};

class AlertPresenter {
  public:
    virtual ~AlertPresenter() = default;
    // The index of the button pressed; -1 when the alert was closed without one.
    virtual int present(const Alert& alert) = 0;
};

// Message boxes of the desktop's style.
class MessageBoxPresenter final : public AlertPresenter {
  public:
    int present(const Alert& alert) override;
};

}  // namespace tarn::agent::ui
