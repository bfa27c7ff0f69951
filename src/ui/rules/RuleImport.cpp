#include "ui/rules/RuleImport.h"

#include "foundation/notices/Alerts.h"
#include "foundation/text/Translations.h"
#include "rules/FiltersManager.h"

#include <QCoreApplication>
#include <QLocale>

#include <utility>

namespace korvane {
namespace {

struct ImportTexts {
    Q_DECLARE_TR_FUNCTIONS(RuleImport)
};

/// "1 rule", "2,000 rules"
QString rulesText(std::size_t count) {
    return ImportTexts::tr("%1 rule(s)", nullptr, translations::pluralOf(static_cast<qint64>(count)))
        .arg(QLocale().toString(static_cast<qulonglong>(count)));
}

struct ImportConversation {
    QString path;
    AlertPresenter& alerts;
    WindowId window;
    std::function<void()> added;

    void start() const {
        auto read = FiltersManager::shared().readImport(path);
        if (!read) {
            alerts.present({Alert::Kind::Error,
                            ImportTexts::tr("The rules cannot be imported."),
                            read.error().userText,
                            {},
                            {}},
                           window, {});
            return;
        }
        const FiltersManager::Import import = std::move(read).value();
        if (import.newRules.size() == import.rules.size())
            finish(import, import.rules);
        else
            ask(import);
    }

    void ask(const FiltersManager::Import& import) const {
        const bool hasNew = !import.newRules.empty();
        QStringList buttons{ImportTexts::tr("Add All"), ImportTexts::tr("Cancel")};
        if (hasNew)
            buttons.prepend(ImportTexts::tr("Add Only New Rules"));
        const std::size_t known = import.rules.size() - import.newRules.size();
        alerts.present({Alert::Kind::Question,
                        ImportTexts::tr("The list has %1 of this file already.").arg(rulesText(known)),
                        ImportTexts::tr("The file holds %1. Adding all of them doubles those that are there.")
                            .arg(rulesText(import.rules.size())),
                        buttons,
                        {}},
                       window, [self = *this, import, hasNew](int button) {
                           if (hasNew && button == 0)
                               self.finish(import, import.newRules);
                           else if (button == (hasNew ? 1 : 0))
                               self.finish(import, import.rules);
                       });
    }

    void finish(const FiltersManager::Import& import, const FiltersManager::Rules& rules) const {
        FiltersManager::shared().addRules(rules);
        if (!rules.empty() && added)
            added();
        if (import.leftOut > 0)
            alerts.present(
                {Alert::Kind::Warning,
                 ImportTexts::tr("%1 imported; left out: %2")
                     .arg(rulesText(rules.size()))
                     .arg(import.leftOut),
                 ImportTexts::tr("What was left out of “%1” is no rule that this program knows.").arg(path),
                 {},
                 {}},
                window, {});
        else if (import.rules.empty())
            alerts.present({Alert::Kind::Warning,
                            ImportTexts::tr("There is no rule to import."),
                            ImportTexts::tr("“%1” holds an empty list.").arg(path),
                            {},
                            {}},
                           window, {});
    }
};

} // namespace

void importRules(const QString& path, AlertPresenter& alerts, WindowId window, std::function<void()> added) {
    ImportConversation{path, alerts, window, std::move(added)}.start();
}

} // namespace korvane
