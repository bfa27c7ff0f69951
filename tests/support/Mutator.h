#pragma once

#include <QByteArray>

#include <cstdint>
#include <random>

namespace korvane::test {

/// Changes some bytes, as damage or an attacker would.
class Mutator {
public:
    explicit Mutator(std::uint32_t seed) : random_(seed) {}

    QByteArray mutated(QByteArray bytes) {
        for (int rounds = 1 + below(4); rounds > 0; --rounds)
            mutate(bytes);
        return bytes;
    }

private:
    int below(qsizetype limit) { return static_cast<int>(random_() % static_cast<std::uint32_t>(limit)); }

    void mutate(QByteArray& bytes) {
        if (bytes.isEmpty())
            return;
        constexpr qsizetype trailer = 32;
        constexpr char telling[] = {'\x00', '\x01', '\x0f', '\x10', '\x14', '\x7f',
                                    '\x80', '\xa1', '\xaf', '\xd1', '\xff'};
        const qsizetype place = below(bytes.size());
        switch (below(8)) {
        case 0:
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << below(8)));
            break;
        case 1:
            bytes[place] = telling[below(sizeof telling)];
            break;
        case 2:
            bytes[place] = static_cast<char>(bytes[place] + below(3) - 1);
            break;
        case 3:
            bytes.insert(place, bytes.mid(below(bytes.size()), below(16)));
            break;
        case 4:
            bytes.remove(place, below(16));
            break;
        case 5:
            bytes.replace(place, 4, bytes.mid(below(bytes.size()), 4));
            break;
        case 6: // the trailer holds the position of everything
            if (bytes.size() >= trailer)
                bytes[bytes.size() - 1 - below(trailer)] = telling[below(sizeof telling)];
            break;
        default:
            if (below(20) == 0)
                bytes.truncate(place);
            break;
        }
    }

    std::mt19937 random_;
};

} // namespace korvane::test
