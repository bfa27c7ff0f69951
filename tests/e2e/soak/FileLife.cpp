#include "e2e/soak/FileLife.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "soak: %s: %s\n", what.c_str(), std::strerror(errno));
    std::exit(2);
}

void check(bool ok, const std::string& what) {
    if (!ok)
        fail(what);
}

enum class Pace { AtOnce, Gradual };

void writeFile(const std::string& path, std::string_view bytes, int flags, Pace pace = Pace::AtOnce) {
    const std::size_t most = pace == Pace::AtOnce ? writeSize : gradualWriteSize;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    check(file >= 0, path);
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), std::min(bytes.size(), most));
        check(written > 0, path);
        bytes.remove_prefix(static_cast<std::size_t>(written));
        if (pace == Pace::Gradual)
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

std::string sized(const char* name, const std::string& bytes) {
    return name + (" " + std::to_string(bytes.size())) + " bytes";
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

Action FileLife::pause() {
    const auto length =
        std::chrono::milliseconds(1 + below(static_cast<std::uint64_t>(pollMilliseconds_) * 3));
    // What happens next meets the monitor at any moment of its round.
    return {"pause " + std::to_string(length.count()) + " ms",
            [length] { std::this_thread::sleep_for(length); }};
}

void FileLife::maybePause(Step& step) {
    if (oneIn(2))
        step.actions.push_back(pause());
}

Action FileLife::append(const std::string& path, std::string bytes) {
    std::string name = sized("append", bytes) + " to " + leafOf(path);
    return {std::move(name), [path, bytes = std::move(bytes)] { writeFile(path, bytes, O_APPEND); }};
}

Action FileLife::appendGradually(const std::string& path, std::string bytes) {
    std::string name = sized("gradually append", bytes) + " to " + leafOf(path);
    return {std::move(name),
            [path, bytes = std::move(bytes)] { writeFile(path, bytes, O_APPEND, Pace::Gradual); }};
}

Action FileLife::create(const std::string& path, std::string bytes) {
    std::string name = sized("create with", bytes) + " " + leafOf(path);
    return {std::move(name), [path, bytes = std::move(bytes)] { writeFile(path, bytes, O_EXCL); }};
}

Action FileLife::truncate(const std::string& path, unsigned thousandths) {
    return {"truncate to " + std::to_string(thousandths) + "/1000", [path, thousandths] {
                const std::string content = contentOf(path);
                check(::truncate(path.c_str(), static_cast<off_t>(cutAt(content, thousandths))) == 0, path);
            }};
}

Action FileLife::rename(const std::string& from, const std::string& to) {
    return {"rename " + leafOf(from) + " to " + leafOf(to),
            [from, to] { check(::rename(from.c_str(), to.c_str()) == 0, from); }};
}

Action FileLife::copy(const std::string& from, const std::string& to) {
    return {"copy to " + leafOf(to), [from, to] { writeFile(to, contentOf(from), O_TRUNC); }};
}

Action FileLife::remove(const std::string& path) {
    return {"delete " + leafOf(path), [path] { check(::unlink(path.c_str()) == 0, path); }};
}

// ---- Steps

Step FileLife::next() {
    if (isAbsent_)
        return return_();
    std::error_code none;
    if (std::filesystem::file_size(path_, none) > largestFile)
        return oneIn(2) ? cut() : rotate();
    struct Choice {
        unsigned weight;
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
    unsigned total = 0;
    for (const Choice& choice : choices)
        total += choice.weight;
    auto drawn = below(total);
    for (const Choice& choice : choices) {
        if (drawn < choice.weight)
            return (this->*choice.draw)();
        drawn -= choice.weight;
    }
    std::abort();
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
        if (oneIn(4))
            step.actions.push_back(pause());
        done += size;
    }
    return step;
}

Step FileLife::appendBurst() {
    Step step{{}, true};
    for (std::uint64_t i = 1 + below(3); i > 0; --i) {
        std::string text = takeRest() + lines(3'000 + below(9'000));
        step.actions.push_back(oneIn(3) ? append(path_, std::move(text))
                                        : appendGradually(path_, std::move(text)));
        maybePause(step);
    }
    return step;
}

Step FileLife::cut() {
    rest_.clear();
    return {{truncate(path_, oneIn(2) ? 0 : static_cast<unsigned>(below(1000)))}};
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
        step.actions.push_back(rename(path_, path_ + ".1"));
        maybePause(step);
        if (oneIn(3)) // its writer has not been told yet
            step.actions.push_back(append(path_ + ".1", takeRest() + lines(1 + below(30))));
        maybePause(step);
        step.actions.push_back(create(path_, someContent()));
        maybePause(step);
    }
    rest_.clear();
    if (oneIn(2))
        step.actions.push_back(append(path_, lines(1 + below(50))));
    return step;
}

Step FileLife::copyAndTruncate() {
    Step step{{copy(path_, path_ + ".1")}};
    maybePause(step);
    step.actions.push_back(truncate(path_, 0));
    maybePause(step);
    rest_.clear();
    switch (below(3)) {
    case 0:
        step.actions.push_back(append(path_, someContent()));
        break;
    case 1: // more than before, of another content
        step.actions.push_back({"regrow beyond the former size", [path = path_, one = lines(3)] {
                                    const std::size_t former = contentOf(path + ".1").size();
                                    std::string text = one;
                                    while (text.size() <= former)
                                        text += one;
                                    writeFile(path, text, O_APPEND);
                                }});
        break;
    default: // exactly as much
        step.actions.push_back({"regrow to the former size", [path = path_] {
                                    std::string text(contentOf(path + ".1").size(), '=');
                                    for (std::size_t i = 60; i < text.size(); i += 61)
                                        text[i] = '\n';
                                    writeFile(path, text, O_APPEND);
                                }});
    }
    return step;
}

Step FileLife::deleteAndRecreate() {
    rest_.clear();
    Step step{{remove(path_)}};
    maybePause(step);
    step.actions.push_back(create(path_, someContent()));
    maybePause(step);
    if (oneIn(2))
        step.actions.push_back(append(path_, lines(1 + below(20))));
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
        return {{remove(path_)}};
    }
    // An empty file may have taken the place of another empty one just now: nobody can say yet which of the
    // two the program holds, and only that one can be read once its name is gone.
    const bool isEmpty = contentOf(path_).empty();
    Step step{{rename(path_, path_ + ".1")}};
    maybePause(step);
    if (oneIn(2) && !isEmpty)
        step.actions.push_back(append(path_ + ".1", takeRest() + lines(1 + below(30))));
    return step;
}

Step FileLife::return_() {
    isAbsent_ = false;
    if (wasRenamed_ && oneIn(3))
        return {{rename(path_ + ".1", path_)}}; // the same file
    rest_.clear();
    Step step{{create(path_, someContent())}};
    maybePause(step);
    if (oneIn(2))
        step.actions.push_back(append(path_, lines(1 + below(20))));
    return step;
}

} // namespace korvane::soak
