#include "e2e/soak/FileLife.h"

#include "e2e/soak/Round.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <unistd.h>
#include <utility>

namespace korvane::soak {
namespace {

constexpr std::size_t writeSize = 1 << 16;
/// Writes of this size go on while the file is looked at and read.
constexpr std::size_t gradualWriteSize = 1 << 9;
/// A file is cut or begun anew beyond this, so that all of it can be compared at every rest.
constexpr std::uintmax_t largestFile = 6 << 20;

void check(bool ok, const std::string& what) {
    if (ok)
        return;
    std::perror(("soak: " + what).c_str());
    std::exit(2);
}

void writeFile(const std::string& path, std::string_view bytes, int flags,
               FileLife::Pace pace = FileLife::Pace::AtOnce) {
    const std::size_t most = pace == FileLife::Pace::AtOnce ? writeSize : gradualWriteSize;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    check(file >= 0, path);
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), std::min(bytes.size(), most));
        check(written > 0, path);
        bytes.remove_prefix(static_cast<std::size_t>(written));
        if (pace == FileLife::Pace::Gradual)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    ::close(file);
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// The part of the content that is kept: no character is cut.
std::size_t cutAt(std::string_view content, unsigned thousandths) {
    std::size_t size = content.size() * thousandths / 1000;
    while (size > 0 && size < content.size() && continuesCharacter(content[size]))
        --size;
    return size;
}

std::string leafOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Step::description() const {
    std::string text;
    for (const Action& action : actions)
        text += (text.empty() ? "" : "; ") + action.name;
    return text;
}

FileLife::FileLife(std::string directory, std::uint64_t seed, int pollMilliseconds)
    : path_(std::move(directory) + "/soak.log"), pollMilliseconds_(pollMilliseconds), random_(seed) {}

void FileLife::begin() {
    writeFile(path_, someContent(), O_TRUNC);
}

// ---- Text

std::string FileLife::line() {
    static const std::vector<std::string> words = {
        "connection", "accepted", "GET /index", "öffnen", "ключ",         "漢字かな",           "😀",
        "€ 12,50",    "timeout",  "a\tb",       "",       "\xEF\xBF\xBD", "e\xCC\x81t\xC3\xA9", "status=500"};
    std::string text;
    if (!oneIn(10)) { // else an empty line
        text = std::to_string(++lineNumber_);
        for (std::uint64_t i = below(12); i > 0; --i)
            text += ' ' + words[below(words.size())];
        if (oneIn(2000))
            text += std::string(20'000 + below(80'000), 'x');
    }
    return text + (oneIn(5) ? "\r\n" : "\n");
}

std::string FileLife::lines(std::uint64_t count) {
    std::string text;
    for (; count > 0; --count)
        text += line();
    return text;
}

std::string FileLife::someContent() {
    switch (below(8)) {
    case 0:
        return {};
    case 1:
        return lines(4'000 + below(9'000));
    case 2: {
        std::string text = lines(1 + below(50));
        text.pop_back(); // the last line goes on later
        return text;
    }
    default:
        return lines(1 + below(300));
    }
}

std::string FileLife::takeRest() {
    return std::exchange(rest_, {});
}

// ---- What happens

void FileLife::maybePause(Step& step, std::uint64_t oneOf) {
    if (below(oneOf) != 0)
        return;
    // What happens next meets the monitor at any moment of its round.
    const auto length = 1 + below(static_cast<std::uint64_t>(pollMilliseconds_) * 3);
    step.actions.push_back({joined("pause ", length, " ms"),
                            [length] { std::this_thread::sleep_for(std::chrono::milliseconds(length)); }});
}

void FileLife::maybeAppend(Step& step, std::uint64_t mostLines) {
    maybePause(step);
    if (oneIn(2))
        step.actions.push_back(append(path_, lines(1 + below(mostLines))));
}

void FileLife::maybeAppendToOld(Step& step, std::uint64_t oneOf) {
    maybePause(step);
    if (below(oneOf) == 0) // its writer has not reopened it yet
        step.actions.push_back(append(path_ + ".1", takeRest() + lines(1 + below(30))));
}

Action FileLife::append(const std::string& path, std::string bytes, Pace pace) {
    const char* const how = pace == Pace::AtOnce ? "append " : "gradually append ";
    return {joined(how, bytes.size(), " bytes to ", leafOf(path)),
            [path, bytes, pace] { writeFile(path, bytes, O_APPEND, pace); }};
}

Action FileLife::create(const std::string& path, std::string bytes) {
    return {joined("create ", leafOf(path), " with ", bytes.size(), " bytes"),
            [path, bytes] { writeFile(path, bytes, O_EXCL); }};
}

Action FileLife::truncate(unsigned thousandths) const {
    return {joined("truncate to ", thousandths, "/1000"), [path = path_, thousandths] {
                const std::string content = contentOf(path);
                check(::truncate(path.c_str(), static_cast<off_t>(cutAt(content, thousandths))) == 0, path);
            }};
}

Action FileLife::rename(const std::string& from, const std::string& to) {
    return {joined("rename ", leafOf(from), " to ", leafOf(to)),
            [from, to] { check(::rename(from.c_str(), to.c_str()) == 0, from); }};
}

Action FileLife::remove() const {
    return {"delete", [path = path_] { check(::unlink(path.c_str()) == 0, path); }};
}

// ---- Steps

Step FileLife::next() {
    if (isAbsent_)
        return return_();
    std::error_code none;
    if (std::filesystem::file_size(path_, none) > largestFile)
        return oneIn(2) ? cut() : rotate();
    struct Choice {
        unsigned weight; // of 100
        Step (FileLife::*draw)();
    };
    static constexpr Choice choices[] = {
        {20, &FileLife::appendLines},
        {14, &FileLife::appendPart},
        {8, &FileLife::appendSlowly},
        {6, &FileLife::appendBurst},
        {6, &FileLife::cut},
        {9, &FileLife::cutAndRegrow},
        {9, &FileLife::rotate},
        {9, &FileLife::copyAndTruncate},
        {6, &FileLife::deleteAndRecreate},
        {6, &FileLife::replace},
        {7, &FileLife::leaveAbsent},
    };
    auto drawn = below(100);
    const Choice* choice = choices;
    for (; drawn >= choice->weight; ++choice)
        drawn -= choice->weight;
    return (this->*choice->draw)();
}

Step FileLife::appendLines() {
    return {{append(path_, takeRest() + lines(1 + below(20)))}, true};
}

Step FileLife::appendPart() {
    std::string text = takeRest() + lines(below(3)) + line();
    std::size_t size = text.size() - 1 - below(std::min<std::size_t>(text.size(), 12));
    if (oneIn(2)) {
        // In the middle of a character, wherever one is.
        text.insert(text.size() - (text.ends_with("\r\n") ? 2 : 1), "漢😀");
        size = text.size() - (text.ends_with("\r\n") ? 2 : 1) - 1 - below(6);
    }
    rest_ = text.substr(size);
    text.resize(size);
    return {{append(path_, std::move(text))}, true};
}

Step FileLife::appendSlowly() {
    const std::string text = takeRest() + lines(1 + below(4));
    Step step{{}, true};
    for (std::size_t done = 0; done < text.size();) {
        const std::size_t size = std::min<std::size_t>(text.size() - done, 1 + below(40));
        step.actions.push_back(append(path_, text.substr(done, size)));
        maybePause(step, 4);
        done += size;
    }
    return step;
}

Step FileLife::appendBurst() {
    Step step{{}, true};
    for (std::uint64_t i = 1 + below(3); i > 0; --i) {
        std::string text = takeRest() + lines(3'000 + below(9'000));
        step.actions.push_back(append(path_, std::move(text), oneIn(3) ? Pace::AtOnce : Pace::Gradual));
        maybePause(step);
    }
    return step;
}

Step FileLife::cut() {
    rest_.clear();
    return {{truncate(oneIn(2) ? 0 : static_cast<unsigned>(below(1000)))}};
}

Step FileLife::cutAndRegrow() {
    Step step = cut();
    for (std::uint64_t i = 1 + below(2); i > 0; --i) {
        maybePause(step);
        step.actions.push_back(append(path_, someContent()));
    }
    return step;
}

Step FileLife::rotate() {
    Step step;
    for (std::uint64_t i = 1 + below(2); i > 0; --i) {
        maybePause(step);
        step.actions.push_back(rename(path_, path_ + ".1"));
        maybeAppendToOld(step, 3);
        maybePause(step);
        step.actions.push_back(create(path_, someContent()));
    }
    rest_.clear();
    maybeAppend(step, 50);
    return step;
}

Step FileLife::copyAndTruncate() {
    Step step{{{"copy to " + leafOf(path_ + ".1"),
                [path = path_] { writeFile(path + ".1", contentOf(path), O_TRUNC); }}}};
    maybePause(step);
    step.actions.push_back(truncate(0));
    maybePause(step);
    rest_.clear();
    if (oneIn(3)) {
        step.actions.push_back(append(path_, someContent()));
        return step;
    }
    const bool isLarger = oneIn(2);
    step.actions.push_back({isLarger ? "regrow beyond the former size" : "regrow to the former size",
                            [path = path_, isLarger, line = lines(3)] {
                                std::string text;
                                const std::size_t former = contentOf(path + ".1").size();
                                while (text.size() <= former)
                                    text += isLarger ? line : std::string(60, '=') + '\n';
                                if (!isLarger)
                                    text.resize(former);
                                writeFile(path, text, O_APPEND);
                            }});
    return step;
}

Step FileLife::deleteAndRecreate() {
    rest_.clear();
    Step step{{remove()}};
    maybePause(step);
    step.actions.push_back(create(path_, someContent()));
    maybeAppend(step, 20);
    return step;
}

Step FileLife::replace() {
    rest_.clear();
    Step step{{create(path_ + ".new", someContent())}};
    maybePause(step);
    step.actions.push_back(rename(path_ + ".new", path_));
    return step;
}

Step FileLife::leaveAbsent() {
    isAbsent_ = true;
    wasRenamed_ = oneIn(2);
    if (!wasRenamed_) {
        rest_.clear();
        return {{remove()}};
    }
    // An empty file may have taken the place of another empty one just now: nobody can say yet which of the
    // two the program holds, and only that one can be read once its name is gone.
    const bool isEmpty = contentOf(path_).empty();
    Step step{{rename(path_, path_ + ".1")}};
    if (!isEmpty)
        maybeAppendToOld(step, 2);
    return step;
}

Step FileLife::return_() {
    isAbsent_ = false;
    if (wasRenamed_ && oneIn(3))
        return {{rename(path_ + ".1", path_)}}; // the same file
    rest_.clear();
    Step step{{create(path_, someContent())}};
    maybeAppend(step, 20);
    return step;
}

} // namespace korvane::soak
