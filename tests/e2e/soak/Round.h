#pragma once

#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvane::soak {

inline std::ostream& operator<<(std::ostream& out, const QString& text) {
    return out << text.toStdString();
}

template <typename... Parts>
std::string joined(const Parts&... parts) {
    std::ostringstream out;
    (out << ... << parts);
    return out.str();
}

/// A difference from the expected behaviour.
struct Fault : std::runtime_error {
    template <typename... Parts>
    explicit Fault(const Parts&... parts) : std::runtime_error(joined(parts...)) {}
};

/// Counts of what a soak has done, by name.
using Totals = std::map<std::string, long long>;

inline void print(const Totals& totals) {
    for (const auto& [name, count] : totals)
        std::printf("%lld %s\n", count, name.c_str());
}

/// A test of one file, from its opening to its closing. The same seed draws the same steps.
class Round {
public:
    virtual ~Round() = default;
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;

    /// False after a fault, which is printed with the history of the round.
    bool run() {
        try {
            play();
            ++totals_["rounds"];
            return true;
        } catch (const Fault& fault) {
            std::printf("seed %llu\n", static_cast<unsigned long long>(seed_));
            for (std::size_t i = 0; i < history_.size(); ++i)
                std::printf("%3zu  %s\n", i, history_[i].c_str());
            std::printf("FAILED: %s\n", fault.what());
            std::fflush(stdout);
            return false;
        }
    }

protected:
    Round(std::uint64_t seed, Totals& totals) : seed_(seed), totals_(totals), random_(seed) {}

    virtual void play() = 0;
    std::uint64_t below(std::uint64_t count) { return random_() % count; }
    template <typename... Parts>
    void did(const Parts&... parts) {
        history_.push_back(joined(parts...));
    }

    const std::uint64_t seed_;
    Totals& totals_;

private:
    std::mt19937_64 random_;
    std::vector<std::string> history_;
};

using Numbers = std::map<std::string, std::uint64_t>;

/// The numbers from the arguments "--name N", otherwise the defaults. Exits with the usage text on any other
/// argument.
inline Numbers given(Numbers numbers, int argc, char** argv) {
    for (int i = 1; i < argc; i += 2) {
        const auto number = numbers.find(argv[i]);
        if (number == numbers.end() || i + 1 == argc) {
            std::fprintf(stderr, "usage: %s", argv[0]);
            for (const auto& [name, value] : numbers)
                std::fprintf(stderr, " [%s N]", name.c_str());
            std::fprintf(stderr, "\n");
            std::exit(2);
        }
        number->second = std::strtoull(argv[i + 1], nullptr, 10);
    }
    return numbers;
}

} // namespace korvane::soak
