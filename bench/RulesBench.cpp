#include "RulesBench.h"

#include "core/DocumentProtocol.h"
#include "core/Preferences.h"
#include "core/reader/LogReader.h"
#include "core/reader/Pages.h"
#include "core/search/SearchItem.h"
#include "documents/LogTableDataSource.h"
#include "foundation/FilePath.h"
#include "rules/FilterRule.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleEnforcer.h"

#include <QStringMatcher>
#include <QTemporaryDir>
#include <unicode/uregex.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string_view>

namespace korvane::bench {
namespace {

constexpr int rounds = 41;

constexpr std::u16string_view texts[] = {u"error",      u"timeout",        u"connection reset", u"session",
                                         u"cache miss", u"unhealthy",      u"customer_id",      u"worker-7",
                                         u"logo-small", u"not in any line"};
constexpr std::u16string_view patterns[] = {
    u"took=\\d{4,}ms",  u"status=(4|5)\\d\\d",    u"\\bWARN\\b",         u"id=[0-9a-f]*ff\\b",
    u"SELECT .*? FROM", u"job finished|retrying", u"worker-(1|2)\\d\\]", u"\\d{4}-\\d\\d-\\d\\d \\d\\d:59",
    u"\\b\\d{3}\\b",    u"cache(d)? hit rate"};

class BenchFonts : public FontCatalog {
public:
    bool isInstalled(const QString&) const override { return true; }
    QFont userFont() const override { return QFont(QStringLiteral("Monospace")); }
    QFont systemFont() const override { return QFont(QStringLiteral("Sans")); }
};

class BenchDocument : public DocumentProtocol {
public:
    explicit BenchDocument(const char* path)
        : url_(fileUrlFromPath(path)), reader_(LogReader::createReader(url_)) {
        reader_->refresh();
    }
    QUrl fileUrl() const override { return url_; }
    QString displayName() const override { return korvane::displayName(url_); }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return reader_; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override { return nullptr; }
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override { return nullptr; }

private:
    const QUrl url_;
    const std::shared_ptr<LogReader> reader_;
};

class Setting {
public:
    explicit Setting(const char* path) {
        Preferences::setShared(std::make_unique<Preferences>(
            std::make_unique<UserDefaults>(directory_.filePath(QStringLiteral("bench.conf")))));
        Preferences::shared().registerDefaults(BenchFonts());
        document = std::make_shared<BenchDocument>(path);
        source = std::make_shared<LogTableDataSource>(document);
    }
    RuleEnforcer& enforcer() const { return static_cast<RuleEnforcer&>(*source->ruleEnforcer()); }

    std::shared_ptr<BenchDocument> document;
    std::shared_ptr<LogTableDataSource> source;

private:
    QTemporaryDir directory_;
};

struct Medians {
    double first;
    double second;
};

/// Median milliseconds of each, run alternately.
Medians byTurns(const std::function<void()>& first, const std::function<void()>& second) {
    std::vector<double> times[2];
    for (int round = 0; round < rounds; ++round) {
        for (int which = 0; which < 2; ++which) {
            const auto start = std::chrono::steady_clock::now();
            which == 0 ? first() : second();
            times[which].push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        }
    }
    for (auto& each : times)
        std::nth_element(each.begin(), each.begin() + rounds / 2, each.end());
    return {times[0][rounds / 2], times[1][rounds / 2]};
}

std::shared_ptr<FilterRule> rule(std::u16string_view text, bool regex, int number) {
    auto item =
        std::make_shared<SearchItem>(QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
    item->setRegex(regex);
    return std::make_shared<FilterRule>(
        false, std::move(item),
        std::make_shared<HighlightRule>(true, number % 2 == 0, false, QColor(10 * number, 0, 0), Qt::white),
        NotificationRule::defaultRule());
}

RuleEnforcer::Rules twentyRules() {
    RuleEnforcer::Rules rules;
    for (const auto text : texts)
        rules.push_back(rule(text, false, static_cast<int>(rules.size())));
    for (const auto pattern : patterns)
        rules.push_back(rule(pattern, true, static_cast<int>(rules.size())));
    return rules;
}

/// The search engines alone: patterns compiled once, every match found in every line.
class Engines {
public:
    Engines() {
        for (const auto text : texts)
            matchers_.emplace_back(QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())),
                                   Qt::CaseInsensitive);
        for (const auto pattern : patterns) {
            UErrorCode status = U_ZERO_ERROR;
            regexes_.push_back(uregex_open(pattern.data(), static_cast<std::int32_t>(pattern.size()),
                                           UREGEX_CASE_INSENSITIVE, nullptr, &status));
            if (U_FAILURE(status))
                std::abort();
        }
    }
    ~Engines() {
        for (URegularExpression* regex : regexes_)
            uregex_close(regex);
    }
    Engines(const Engines&) = delete;
    Engines& operator=(const Engines&) = delete;

    std::size_t countIn(const QString& line) {
        std::size_t count = 0;
        for (const QStringMatcher& matcher : matchers_)
            for (qsizetype at = matcher.indexIn(line); at >= 0;
                 at = matcher.indexIn(line, at + matcher.pattern().size()))
                ++count;
        UErrorCode status = U_ZERO_ERROR;
        for (URegularExpression* regex : regexes_) {
            uregex_setText(regex, reinterpret_cast<const UChar*>(line.utf16()),
                           static_cast<std::int32_t>(line.size()), &status);
            while (uregex_findNext(regex, &status))
                ++count;
        }
        return count;
    }

private:
    std::vector<QStringMatcher> matchers_;
    std::vector<URegularExpression*> regexes_;
};

} // namespace

int rulesPage(const char* path) {
    const Setting setting(path);
    const auto rules = FiltersManager::defaultRules();
    const auto load = [&](const RuleEnforcer::Rules& active) {
        return [&setting, &active] {
            setting.enforcer().setActiveRules(active);
            setting.source->invalidateRows();
            setting.source->loadPage(1, false);
        };
    };
    const RuleEnforcer::Rules none;
    const Medians times = byTurns(load(rules), load(none));
    const qint64 lines = std::min(setting.document->logReader()->lineCount(), pages::size);
    std::printf("%.4f %.4f %lld\n", times.first, times.second, static_cast<long long>(lines));
    return setting.source->cachedRowLine(lines - 1) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int rulesSlow(const char* path, int count) {
    constexpr std::u16string_view endless[] = {
        u"^(\\S+\\s*)+[#%]", u"^(.*?,?){11}[#%]", u"(\\w+\\W*)+[#%]$",   u"^(\\w|\\W|.)*[#%]",
        u"(.+)+[#%]",        u"^(\\S*\\s*)*[#%]", u"(\\d*\\D*)+[#%]\\d", u"^(?:.|\\s)+?[#%]{3}",
        u"([^#%]+)*[#%]$",   u"(a|b|ab|.)+[#%]x"};
    const Setting setting(path);
    RuleEnforcer::Rules rules;
    while (static_cast<int>(rules.size()) < count)
        rules.push_back(
            rule(endless[rules.size() % std::size(endless)], true, static_cast<int>(rules.size())));
    setting.enforcer().setActiveRules(rules);
    std::vector<double> times;
    for (int round = 0; round < 4; ++round) {
        const auto start = std::chrono::steady_clock::now();
        setting.source->invalidateRows();
        setting.source->loadPage(1, false);
        times.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    const qint64 lines = std::min(setting.document->logReader()->lineCount(), pages::size);
    qint64 givenUp = 0;
    for (const SlowRule& slow : setting.enforcer().slowRules())
        givenUp += slow.lineCount;
    std::printf("%.4f %.4f %lld %lld\n", times.front(), *std::max_element(times.begin() + 1, times.end()),
                static_cast<long long>(lines), static_cast<long long>(givenUp));
    return setting.source->cachedRowLine(lines - 1) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int rulesEngines(const char* path) {
    const Setting setting(path);
    const auto lines = setting.document->logReader()->readLines(1, pages::size);
    const RuleEnforcer::Rules rules = twentyRules();
    setting.enforcer().setActiveRules(rules);
    const auto plain = std::make_shared<Attributes>();
    std::vector<AttributedString> rows;
    const auto ours = [&] {
        rows.clear();
        const auto pass = setting.enforcer().makePass({});
        RuleMarks marks;
        for (const QString& line : lines)
            pass->applyRules(static_cast<qint64>(rows.size()), rows.emplace_back(line, plain), marks);
    };
    Engines engines;
    std::size_t theirMatches = 0;
    const auto theirs = [&] {
        theirMatches = 0;
        for (const QString& line : lines)
            theirMatches += engines.countIn(line);
    };
    const Medians times = byTurns(ours, theirs);
    std::size_t ourMatches = 0;
    for (const auto& each : rules)
        for (const QString& line : lines)
            ourMatches += each->matchRanges(line).size();
    std::printf("%.4f %.4f %zu %zu\n", times.first, times.second, ourMatches, theirMatches);
    return EXIT_SUCCESS;
}

} // namespace korvane::bench
