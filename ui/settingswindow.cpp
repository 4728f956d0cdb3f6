#include "settingswindow.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>
#include <QVariant>

#include "databasemanager.h"
#include "qmaemo5informationbox.h"
#include "stackedwindow.h"
#include "strictintvalidator.h"
#include "taskwindowbutton.h"
#include "windowkeys.h"

namespace {

const int kDefaultSnooze = 10;

// The links use reserved example addresses: the product has no public site.
const char* const kAboutText = QT_TRANSLATE_NOOP(
    "SettingsWindow", "The Pardo Reminder 1.0.1 was created by the Velmar Ltd. company. "
                      "Promotion website can be seen at <a href='https://pardo.example.com'>"
                      "<font color='#22c70d'>pardo.example.com</font></a>. "
                      "You can provide feedback or get support via "
                      "<a href='mailto:support@pardo.example.com?subject=PARDO%20feedback'>"
                      "<font color='#22c70d'>support@pardo.example.com</font></a>. "
                      "Both will be appreciated.");

QLabel* bodyText(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSize(15);
    label->setFont(font);
    return label;
}

QWidget* section(const QString& heading, QLabel* body, const QMargins& margins) {
    auto* widget = new QWidget;
    auto* column = new QVBoxLayout(widget);
    column->setContentsMargins(margins);
    auto* title = new QLabel(heading);
    QFont font = title->font();
    font.setBold(true);
    title->setFont(font);
    column->addWidget(title);
    column->addWidget(body);
    return widget;
}

// The sidebar shows only icons: `action` names the button for screen readers and in its tooltip.
TaskWindowButton* sidebarButton(const char* icon, const char* name, const QString& action) {
    auto* button = new TaskWindowButton;
    button->setObjectName(QLatin1String(name));
    button->setIcon(QIcon(QStringLiteral(":/images/") + QLatin1String(icon)));
    button->setIconSize(QSize(70, 70));
    button->setAccessibleName(action);
    button->setToolTip(action);
    return button;
}

} // namespace

SettingsWindow::SettingsWindow(QWidget* parent)
    : QMainWindow(parent)
    , snoozeIntervalEdit(nullptr) {
    StackedWindow::enable(this);
    setWindowTitle(tr("Pardo Reminder"));

    auto* central = new QWidget;
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* area = new QScrollArea;
    area->setFrameStyle(0);
    area->setWidgetResizable(true);
    // Not a Tab stop of its own: it scrolls to whichever of its fields takes the focus.
    area->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(area);

    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    auto* grid = new QGridLayout;
    column->addLayout(grid);
    column->addStretch();

    grid->setRowMinimumHeight(0, 84);
    grid->setColumnMinimumWidth(1, 410);
    auto* snoozeLabel = new QLabel(tr("Snooze interval (min):"));
    grid->addWidget(snoozeLabel, 0, 0);
    snoozeIntervalEdit = new QLineEdit(QString::number(getSnoozeIntervalFromDatabase()));
    snoozeLabel->setBuddy(snoozeIntervalEdit);
    snoozeIntervalEdit->setObjectName(QStringLiteral("snoozeIntervalEdit"));
    snoozeIntervalEdit->setMaximumWidth(100);
    snoozeIntervalEdit->setInputMethodHints(Qt::ImhDigitsOnly);
    snoozeIntervalEdit->setValidator(new StrictIntValidator(1, 99, snoozeIntervalEdit));
    grid->addWidget(snoozeIntervalEdit, 0, 1);

    QLabel* quickStart = bodyText(
        tr("Tap the task once to select it if you want to change or delete it. Tap it twice to "
           "activate and deactivate it. That's it - fast and simple!"));
    quickStart->setObjectName(QStringLiteral("quickStartText"));
    grid->addWidget(section(tr("Quick start"), quickStart, QMargins(0, 0, 0, 0)), 1, 0, 1, 2);

    QLabel* about = bodyText(tr(kAboutText));
    about->setObjectName(QStringLiteral("aboutText"));
    about->setTextFormat(Qt::RichText);
    about->setOpenExternalLinks(true);
    // The links are reached with Tab as well.
    about->setTextInteractionFlags(Qt::TextBrowserInteraction);
    grid->addWidget(section(tr("Feedback and support"), about, QMargins(0, 12, 0, 0)), 2, 0, 1, 2);

    area->setWidget(content);

    auto* sidebar = new QVBoxLayout;
    sidebar->setContentsMargins(0, 0, 0, 0);
    sidebar->setSpacing(0);
    TaskWindowButton* cancel = sidebarButton("icon_cancel.png", "cancelButton", tr("Cancel"));
    connect(cancel, &TaskWindowButton::clicked, this, &SettingsWindow::close);
    sidebar->addWidget(cancel);
    sidebar->addStretch();
    TaskWindowButton* accept = sidebarButton("icon_accept.png", "acceptButton", tr("Save"));
    connect(accept, &TaskWindowButton::clicked, this, &SettingsWindow::saveSettings);
    sidebar->addWidget(accept);
    layout->addLayout(sidebar);
    auto* keys = new WindowKeys(this);
    keys->setCancelButton(cancel);
    keys->setDefaultButton(accept);

    setCentralWidget(central);
    snoozeIntervalEdit->setFocus();
}

int SettingsWindow::getSnoozeIntervalFromDatabase() {
    std::optional<int> stored;
    if (!DatabaseManager::selectSnoozeInterval(stored)) {
        return kDefaultSnooze;
    }
    if (stored) {
        return *stored;
    }
    // The row comes into being the first time the settings are opened.
    DatabaseManager::insertDefaultSnoozeInterval();
    return kDefaultSnooze;
}

void SettingsWindow::saveSettings() {
    // Written as it stands: the validator keeps it to digits, an empty field stays empty.
    if (!DatabaseManager::updateSnoozeInterval(snoozeIntervalEdit->text())) {
        return;
    }
    QMaemo5InformationBox::information(nullptr, tr("Settings saved."), 3000);
    close();
}

void SettingsWindow::showQuickStart() {
    auto* text = findChild<QLabel*>(QStringLiteral("quickStartText"));
    if (!text) {
        return;
    }
    // Focusable, so that a screen reader reads it out and the keyboard has a place there.
    text->setFocusPolicy(Qt::StrongFocus);
    text->setFocus(Qt::OtherFocusReason);
    auto* area = findChild<QScrollArea*>();
    if (!area) {
        return;
    }
    area->ensureWidgetVisible(text);
    // Laid out only once shown: look again then.
    QTimer::singleShot(0, text, [area, text] { area->ensureWidgetVisible(text); });
}
