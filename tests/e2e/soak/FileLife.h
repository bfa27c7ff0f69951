#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::soak {

/// One thing that happens to a file.
struct Action {
    std::string name;
    std::function<void()> run;
};

/// What happens to a file between two moments of rest.
struct Step {
    std::vector<Action> actions;
    /// Nothing but bytes added at the end of the file.
    bool onlyAppends = false;

    std::string description() const;
};

/// What writers, rotators and users do to a log file, drawn by a seed: the same seed draws the same steps.
///
/// Steps are drawn in the order in which they are run, and each is run before the next is drawn. A step
/// leaves whole lines, parts of lines or parts of characters behind; never bytes that can be no text.
class FileLife {
public:
    /// Whether a write goes on while the file is measured and read.
    enum class Pace { AtOnce, Gradual };

    /// `directory` is this object's own. `pollMilliseconds`: the scale of the pauses.
    FileLife(const std::string& directory, std::uint64_t seed, int pollMilliseconds);

    const std::string& path() const { return path_; }
    /// The content that the file starts with.
    void begin();
    Step next();

private:
    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
    bool oneIn(std::uint64_t count) { return below(count) == 0; }

    std::string line();
    std::string lines(std::uint64_t count);
    /// Usually little, sometimes nothing, sometimes pages.
    std::string someContent();
    /// What ends the character or line that was left unfinished, once.
    std::string takeRest();

    // These add to the step.
    void act(std::string name, std::function<void()> run);
    void append(const std::string& path, const std::string& bytes, Pace pace = Pace::AtOnce);
    void create(const std::string& path);
    void truncate(unsigned thousandths);
    void rename(const std::string& from, const std::string& to);
    void remove();
    void maybePause(std::uint64_t oneOf = 2);
    /// After a pause or none.
    void maybeAppend(std::uint64_t mostLines);
    /// To the file that was renamed, after a pause or none.
    void maybeAppendToOld(std::uint64_t oneOf);

    void appendLines();
    void appendPart();
    void appendSlowly();
    void appendBurst();
    void cut();
    void cutAndRegrow();
    void rotate();
    void copyAndTruncate();
    void recreate();
    void replace();
    void leaveAbsent();
    void comeBack();

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

/// The content of a file; empty when there is none.
std::string contentOf(const std::string& path);

} // namespace korvane::soak
