#pragma once

#include "e2e/soak/Round.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <unistd.h>
#include <utility>

namespace korvane::soak {

/// One thing that happens to a file.
struct Action {
    std::string name;
    std::function<void()> run;
};

/// The actions on a file between two moments of rest.
struct Step {
    std::vector<Action> actions;
    /// Whether the actions only append bytes to the file.
    bool onlyAppends = false;

    std::string description() const {
        std::string text;
        for (const Action& action : actions)
            text += (text.empty() ? "" : "; ") + action.name;
        return text;
    }
};

/// Random actions of writers, rotators and users on a log file. The same seed draws the same steps.
///
/// Each step must be run before the next is drawn. It may leave an incomplete line or character behind, but
/// never bytes that are invalid as text.
class FileLife {
public:
    /// Whether the file may be measured and read in the middle of a write.
    enum class Pace { AtOnce, Gradual };

    /// `directory` must not be used by anything else. `pollMilliseconds`: the scale of the pauses.
    FileLife(const std::string& directory, std::uint64_t seed, int pollMilliseconds)
        : path_(directory + "/soak.log"), oldPath_(path_ + ".1"), pollMilliseconds_(pollMilliseconds),
          random_(seed) {}

    const std::string& path() const { return path_; }
    /// Creates the file with its initial content.
    void begin() { writeFile(path_, someContent(), O_TRUNC); }
    Step next() {
        step_ = {};
        std::error_code none;
        if (isAbsent_) {
            comeBack();
        } else if (std::filesystem::file_size(path_, none) > largestFile) {
            oneIn(2) ? cut() : rotate();
        } else {
            struct Choice {
                unsigned weight; // of 100
                bool onlyAppends;
                void (FileLife::*draw)();
            };
            static constexpr Choice choices[] = {
                {20, true, &FileLife::appendLines}, {14, true, &FileLife::appendPart},
                {8, true, &FileLife::appendSlowly}, {6, true, &FileLife::appendBurst},
                {6, false, &FileLife::cut},         {9, false, &FileLife::cutAndRegrow},
                {9, false, &FileLife::rotate},      {9, false, &FileLife::copyAndTruncate},
                {6, false, &FileLife::recreate},    {6, false, &FileLife::replace},
                {7, false, &FileLife::leaveAbsent},
            };
            auto drawn = below(100);
            const Choice* choice = choices;
            for (; drawn >= choice->weight; ++choice)
                drawn -= choice->weight;
            step_.onlyAppends = choice->onlyAppends;
            (this->*choice->draw)();
        }
        return step_;
    }

private:
    static constexpr const char* words[] = {
        "connection", "accepted", "GET /index", "öffnen", "ключ",         "漢字かな",           "😀",
        "€ 12,50",    "timeout",  "a\tb",       "",       "\xEF\xBF\xBD", "e\xCC\x81t\xC3\xA9", "status=500"};
    static constexpr std::size_t writeSize = 1 << 16;
    /// Bytes per write of a gradual append, during which the file is measured and read.
    static constexpr std::size_t gradualWriteSize = 1 << 9;
    /// Maximum size in bytes: a larger file is cut or rotated, so that all of it can be compared at every
    /// rest.
    static constexpr std::uintmax_t largestFile = 6 << 20;

    static void check(bool ok, const std::string& what) {
        if (ok)
            return;
        std::perror(("soak: " + what).c_str());
        std::exit(2);
    }

    static void writeFile(const std::string& path, std::string_view bytes, int flags,
                          Pace pace = Pace::AtOnce) {
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

    /// Size of the part of the content that is kept; never splits a character.
    static std::size_t cutAt(std::string_view content, unsigned thousandths) {
        std::size_t size = content.size() * thousandths / 1000;
        while (size > 0 && size < content.size() && (content[size] & 0xC0) == 0x80)
            --size;
        return size;
    }

    static std::string leafOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }
    static std::string contentOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
    bool oneIn(std::uint64_t count) { return below(count) == 0; }

    std::string line() {
        std::string text;
        if (!oneIn(10)) { // else an empty line
            text = std::to_string(++lineNumber_);
            for (std::uint64_t i = below(12); i > 0; --i)
                text += std::string(" ") + words[below(std::size(words))];
            if (oneIn(2000))
                text += std::string(20'000 + below(80'000), 'x');
        }
        return text + (oneIn(5) ? "\r\n" : "\n");
    }

    std::string lines(std::uint64_t count) {
        std::string text;
        for (; count > 0; --count)
            text += line();
        return text;
    }

    /// Usually a few lines, sometimes nothing, sometimes pages.
    std::string someContent() {
        switch (below(8)) {
        case 0:
            return {};
        case 1:
            return lines(4'000 + below(9'000));
        case 2: {
            std::string text = lines(1 + below(50));
            text.pop_back(); // a later append ends the last line
            return text;
        }
        default:
            return lines(1 + below(300));
        }
    }

    /// Returns the missing end of an unfinished character or line, and clears it.
    std::string takeRest() { return std::exchange(rest_, {}); }

    // These add actions to the step.
    void act(std::string name, std::function<void()> run) {
        step_.actions.push_back({std::move(name), std::move(run)});
    }

    void append(const std::string& path, const std::string& bytes, Pace pace = Pace::AtOnce) {
        act(joined(pace == Pace::AtOnce ? "append " : "gradually append ", bytes.size(), " bytes to ",
                   leafOf(path)),
            [path, bytes, pace] { writeFile(path, bytes, O_APPEND, pace); });
    }

    void create(const std::string& path) {
        const std::string bytes = someContent();
        act(joined("create ", leafOf(path), " with ", bytes.size(), " bytes"),
            [path, bytes] { writeFile(path, bytes, O_EXCL); });
    }

    void truncate(unsigned thousandths) {
        act(joined("truncate to ", thousandths, "/1000"), [path = path_, thousandths] {
            const std::string content = contentOf(path);
            check(::truncate(path.c_str(), static_cast<off_t>(cutAt(content, thousandths))) == 0, path);
        });
    }

    void rename(const std::string& from, const std::string& to) {
        act(joined("rename ", leafOf(from), " to ", leafOf(to)),
            [from, to] { check(::rename(from.c_str(), to.c_str()) == 0, from); });
    }

    void remove() {
        act("delete", [path = path_] { check(::unlink(path.c_str()) == 0, path); });
    }

    void maybePause(std::uint64_t oneOf = 2) {
        if (below(oneOf) != 0)
            return;
        // Makes the next action hit any moment of the observer's polling.
        const auto length = 1 + below(static_cast<std::uint64_t>(pollMilliseconds_) * 3);
        act(joined("pause ", length, " ms"),
            [length] { std::this_thread::sleep_for(std::chrono::milliseconds(length)); });
    }

    /// Possibly after a pause.
    void maybeAppend(std::uint64_t mostLines) {
        maybePause();
        if (oneIn(2))
            append(path_, lines(1 + below(mostLines)));
    }

    /// Appends to the renamed file, possibly after a pause.
    void maybeAppendToOld(std::uint64_t oneOf) {
        maybePause();
        if (oneIn(oneOf)) // its writer has not reopened the file yet
            append(oldPath_, takeRest() + lines(1 + below(30)));
    }

    void appendLines() { append(path_, takeRest() + lines(1 + below(20))); }
    void appendPart() {
        std::string text = takeRest() + lines(below(3)) + line();
        std::size_t size = text.size() - 1 - below(std::min<std::size_t>(text.size(), 12));
        if (oneIn(2)) {
            // Usually ends inside a multi-byte character.
            text.insert(text.size() - (text.ends_with("\r\n") ? 2 : 1), "漢😀");
            size = text.size() - (text.ends_with("\r\n") ? 2 : 1) - 1 - below(6);
        }
        rest_ = text.substr(size);
        append(path_, text.substr(0, size));
    }

    void appendSlowly() {
        const std::string text = takeRest() + lines(1 + below(4));
        for (std::size_t done = 0, size = 0; done < text.size(); done += size) {
            size = std::min<std::size_t>(text.size() - done, 1 + below(40));
            append(path_, text.substr(done, size));
            maybePause(4);
        }
    }

    void appendBurst() {
        for (std::uint64_t i = 1 + below(3); i > 0; --i) {
            append(path_, takeRest() + lines(3'000 + below(9'000)), oneIn(3) ? Pace::AtOnce : Pace::Gradual);
            maybePause();
        }
    }

    void cut() {
        rest_.clear();
        truncate(oneIn(2) ? 0 : static_cast<unsigned>(below(1000)));
    }

    void cutAndRegrow() {
        cut();
        for (std::uint64_t i = 1 + below(2); i > 0; --i) {
            maybePause();
            append(path_, someContent());
        }
    }

    void rotate() {
        for (std::uint64_t i = 1 + below(2); i > 0; --i) {
            maybePause();
            rename(path_, oldPath_);
            maybeAppendToOld(3);
            maybePause();
            create(path_);
        }
        rest_.clear();
        maybeAppend(50);
    }

    void copyAndTruncate() {
        act("copy", [from = path_, to = oldPath_] { writeFile(to, contentOf(from), O_TRUNC); });
        maybePause();
        truncate(0);
        maybePause();
        rest_.clear();
        if (oneIn(3))
            return append(path_, someContent());
        const bool isLarger = oneIn(2);
        act(isLarger ? "regrow beyond the former size" : "regrow to the former size",
            [path = path_, old = oldPath_, isLarger, line = lines(3)] {
                std::string text;
                const std::size_t former = contentOf(old).size();
                while (text.size() <= former)
                    text += isLarger ? line : std::string(60, '=') + '\n';
                if (!isLarger)
                    text.resize(former);
                writeFile(path, text, O_APPEND);
            });
    }

    void recreate() {
        rest_.clear();
        remove();
        maybePause();
        create(path_);
        maybeAppend(20);
    }

    void replace() {
        rest_.clear();
        create(path_ + ".new");
        maybePause();
        rename(path_ + ".new", path_);
    }

    void leaveAbsent() {
        isAbsent_ = true;
        wasRenamed_ = oneIn(2);
        if (!wasRenamed_) {
            rest_.clear();
            return remove();
        }
        // An empty file may just have replaced another empty one. It is unknown then which of the two the
        // program has open, and only that one can be read after its name is deleted.
        const bool isEmpty = contentOf(path_).empty();
        rename(path_, oldPath_);
        if (!isEmpty)
            maybeAppendToOld(2);
    }

    void comeBack() {
        isAbsent_ = false;
        if (wasRenamed_ && oneIn(3))
            return rename(oldPath_, path_); // the same file
        rest_.clear();
        create(path_);
        maybeAppend(20);
    }

    const std::string path_;
    const std::string oldPath_;
    const int pollMilliseconds_;
    Step step_;
    std::mt19937_64 random_;
    std::uint64_t lineNumber_ = 0;
    std::string rest_;
    bool isAbsent_ = false;
    bool wasRenamed_ = false;
};

} // namespace korvane::soak
