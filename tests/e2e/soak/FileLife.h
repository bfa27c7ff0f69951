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

/// The actions on a file between two moments of rest.
struct Step {
    std::vector<Action> actions;
    /// Whether the actions only append bytes to the file.
    bool onlyAppends = false;

    std::string description() const;
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
    FileLife(const std::string& directory, std::uint64_t seed, int pollMilliseconds);

    const std::string& path() const { return path_; }
    /// Creates the file with its initial content.
    void begin();
    Step next();

private:
    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
    bool oneIn(std::uint64_t count) { return below(count) == 0; }

    std::string line();
    std::string lines(std::uint64_t count);
    /// Usually a few lines, sometimes nothing, sometimes pages.
    std::string someContent();
    /// Returns the missing end of an unfinished character or line, and clears it.
    std::string takeRest();

    // These add actions to the step.
    void act(std::string name, std::function<void()> run);
    void append(const std::string& path, const std::string& bytes, Pace pace = Pace::AtOnce);
    void create(const std::string& path);
    void truncate(unsigned thousandths);
    void rename(const std::string& from, const std::string& to);
    void remove();
    void maybePause(std::uint64_t oneOf = 2);
    /// Possibly after a pause.
    void maybeAppend(std::uint64_t mostLines);
    /// Appends to the renamed file, possibly after a pause.
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

/// The content of a file; empty if it does not exist.
std::string contentOf(const std::string& path);

} // namespace korvane::soak
