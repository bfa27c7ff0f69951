#include "core/LineChunk.h"

#include <algorithm>
#include <bit>

namespace korvane::line_chunk {

namespace {

enum class Form : std::uint8_t { Members, Absent, Bits };

/// The first word of an encoded chunk.
struct Header {
    Form form = Form::Members;
    /// Bits of a line that are stored as they are, in the forms of lists.
    std::uint32_t lowBits = 0;
    /// Lines listed, or bits set.
    std::uint32_t count = 0;
    /// All members are below this line.
    std::uint32_t limit = 0;

    static Header of(const std::uint64_t* chunk) {
        return {static_cast<Form>(*chunk & 0xff), static_cast<std::uint32_t>(*chunk >> 8 & 0xff),
                static_cast<std::uint32_t>(*chunk >> 16 & 0xffffff),
                static_cast<std::uint32_t>(*chunk >> 40)};
    }
    std::uint64_t word() const {
        return static_cast<std::uint64_t>(form) | std::uint64_t{lowBits} << 8 | std::uint64_t{count} << 16 |
               std::uint64_t{limit} << 40;
    }
};

constexpr std::size_t wordsFor(std::size_t bits) {
    return (bits + 63) / 64;
}

/// The place of the set bit with `index` set bits before it.
std::uint32_t selectInWord(std::uint64_t word, std::uint32_t index) {
    for (; index > 0; --index)
        word &= word - 1;
    return static_cast<std::uint32_t>(std::countr_zero(word));
}

/// One of the 32-bit numbers, two to a word.
std::uint32_t halfAt(const std::uint64_t* words, std::size_t index) {
    return static_cast<std::uint32_t>(words[index / 2] >> (index % 2 * 32));
}

void setHalf(std::uint64_t* words, std::size_t index, std::uint32_t value) {
    words[index / 2] |= std::uint64_t{value} << (index % 2 * 32);
}

// An ascending list of lines in the form of Elias and Fano: the high bits of each line as a one behind as
// many zeros as their value, over all lines; then the low bits. A sample for every few ones finds them
// quickly.

struct ListLayout {
    /// Ones for each sample.
    static constexpr std::uint32_t sampleInterval = 256;

    explicit ListLayout(const Header& header)
        : high(1 + wordsFor(std::size_t{32} * ((header.count + sampleInterval - 1) / sampleInterval))),
          low(high + wordsFor(header.count + (header.limit >> header.lowBits) + 1)),
          end(low + wordsFor(std::size_t{header.count} * header.lowBits)) {}

    static constexpr std::size_t samples = 1;
    std::size_t high;
    std::size_t low;
    std::size_t end;
};

std::uint32_t lowBitsFor(std::uint32_t count, std::uint32_t limit) {
    return count == 0 ? 0 : static_cast<std::uint32_t>(std::bit_width(limit / count)) - 1;
}

std::uint32_t lowBitsAt(const std::uint64_t* words, std::uint32_t size, std::size_t index) {
    if (size == 0)
        return 0;
    const std::size_t bit = index * size;
    std::uint64_t value = words[bit / 64] >> (bit % 64);
    if (bit % 64 + size > 64)
        value |= words[bit / 64 + 1] << (64 - bit % 64);
    return static_cast<std::uint32_t>(value & ((std::uint64_t{1} << size) - 1));
}

void setLowBits(std::uint64_t* words, std::uint32_t size, std::size_t index, std::uint64_t line) {
    if (size == 0)
        return;
    const std::uint64_t value = line & ((std::uint64_t{1} << size) - 1);
    const std::size_t bit = index * size;
    words[bit / 64] |= value << (bit % 64);
    if (bit % 64 + size > 64)
        words[bit / 64 + 1] |= value >> (64 - bit % 64);
}

std::uint32_t listedLine(const std::uint64_t* chunk, const Header& header, std::uint32_t index) {
    const ListLayout layout(header);
    const std::uint64_t* high = chunk + layout.high;
    const std::uint32_t sample = halfAt(chunk + ListLayout::samples, index / ListLayout::sampleInterval);
    std::uint32_t left = index % ListLayout::sampleInterval;
    std::size_t at = sample / 64;
    std::uint64_t word = high[at] & ~std::uint64_t{0} << (sample % 64);
    for (auto ones = static_cast<std::uint32_t>(std::popcount(word)); ones <= left;
         ones = static_cast<std::uint32_t>(std::popcount(word))) {
        left -= ones;
        word = high[++at];
    }
    const auto place = static_cast<std::uint32_t>(at * 64) + selectInWord(word, left);
    return (place - index) << header.lowBits | lowBitsAt(chunk + layout.low, header.lowBits, index);
}

/// Visits the listed lines, ascending.
template <typename Visit>
void forEachListed(const std::uint64_t* chunk, const Header& header, Visit visit) {
    const ListLayout layout(header);
    std::uint32_t index = 0;
    forEachBit({chunk + layout.high, layout.low - layout.high}, [&](std::uint32_t place) {
        visit((place - index) << header.lowBits | lowBitsAt(chunk + layout.low, header.lowBits, index));
        ++index;
    });
}

/// Number of listed lines before the line.
std::uint32_t listedBefore(const std::uint64_t* chunk, const Header& header, std::uint32_t line) {
    std::uint32_t low = 0;
    std::uint32_t high = header.count;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        if (listedLine(chunk, header, middle) < line)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

/// The line with `index` lines before it that are not listed.
std::uint32_t unlistedLine(const std::uint64_t* chunk, const Header& header, std::uint32_t index) {
    // The listed lines before it: those with at most `index` unlisted lines before them.
    std::uint32_t low = 0;
    std::uint32_t high = header.count;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        if (listedLine(chunk, header, middle) - middle <= index)
            low = middle + 1;
        else
            high = middle;
    }
    return index + low;
}

/// The bits below the limit, behind the number of bits set before every 64 words.
struct BitsLayout {
    static constexpr std::size_t blockWords = 64;

    explicit BitsLayout(std::uint32_t limit)
        : bits(counts + (wordsFor(limit) / blockWords + 2) / 2), end(bits + wordsFor(limit)) {}

    static constexpr std::size_t counts = 1;
    std::size_t bits;
    std::size_t end;
};

std::uint32_t bitsBefore(const std::uint64_t* chunk, const Header& header, std::uint32_t line) {
    if (line >= header.limit)
        return header.count;
    const BitsLayout layout(header.limit);
    const std::uint64_t* bits = chunk + layout.bits;
    const std::size_t word = line / 64;
    const std::size_t block = word / BitsLayout::blockWords;
    std::uint32_t count = halfAt(chunk + BitsLayout::counts, block);
    for (std::size_t i = block * BitsLayout::blockWords; i < word; ++i)
        count += static_cast<std::uint32_t>(std::popcount(bits[i]));
    const std::uint64_t before = (std::uint64_t{1} << (line % 64)) - 1;
    return count + static_cast<std::uint32_t>(std::popcount(bits[word] & before));
}

std::uint32_t bitAt(const std::uint64_t* chunk, const Header& header, std::uint32_t index) {
    const BitsLayout layout(header.limit);
    std::size_t low = 0;
    std::size_t high = wordsFor(header.limit) / BitsLayout::blockWords + 1;
    while (high - low > 1) {
        const std::size_t middle = low + (high - low) / 2;
        if (halfAt(chunk + BitsLayout::counts, middle) <= index)
            low = middle;
        else
            high = middle;
    }
    std::uint32_t left = index - halfAt(chunk + BitsLayout::counts, low);
    const std::uint64_t* bits = chunk + layout.bits;
    std::size_t word = low * BitsLayout::blockWords;
    for (auto ones = static_cast<std::uint32_t>(std::popcount(bits[word])); ones <= left;
         ones = static_cast<std::uint32_t>(std::popcount(bits[word]))) {
        left -= ones;
        ++word;
    }
    return static_cast<std::uint32_t>(word * 64) + selectInWord(bits[word], left);
}

std::size_t encodedWords(const Header& header) {
    return header.form == Form::Bits ? BitsLayout(header.limit).end : ListLayout(header).end;
}

void encodeList(const Header& header, const Bits& bits, std::uint64_t* to) {
    const ListLayout layout(header);
    std::uint32_t index = 0;
    const auto add = [&](std::uint32_t line) {
        const std::uint32_t place = (line >> header.lowBits) + index;
        if (index % ListLayout::sampleInterval == 0)
            setHalf(to + ListLayout::samples, index / ListLayout::sampleInterval, place);
        to[layout.high + place / 64] |= std::uint64_t{1} << (place % 64);
        setLowBits(to + layout.low, header.lowBits, index, line);
        ++index;
    };
    if (header.form == Form::Members) {
        forEachBit(std::span(bits).first(wordsFor(header.limit)), add);
        return;
    }
    for (std::uint32_t first = 0; first < header.limit; first += 64) {
        std::uint64_t absent = ~bits[first / 64];
        if (header.limit - first < 64)
            absent &= (std::uint64_t{1} << (header.limit - first)) - 1;
        forEachBit({&absent, 1}, [&](std::uint32_t bit) { add(first + bit); });
    }
}

void encodeBits(const Header& header, const Bits& bits, std::uint64_t* to) {
    const BitsLayout layout(header.limit);
    std::uint32_t count = 0;
    for (std::size_t word = 0; word < wordsFor(header.limit); ++word) {
        if (word % BitsLayout::blockWords == 0)
            setHalf(to + BitsLayout::counts, word / BitsLayout::blockWords, count);
        count += static_cast<std::uint32_t>(std::popcount(bits[word]));
    }
    if (wordsFor(header.limit) % BitsLayout::blockWords == 0)
        setHalf(to + BitsLayout::counts, wordsFor(header.limit) / BitsLayout::blockWords, count);
    std::copy_n(bits.begin(), wordsFor(header.limit), to + layout.bits);
}

} // namespace

void setRange(Bits& bits, std::uint32_t first, std::uint32_t count, bool isSet) {
    const std::uint32_t end = first + count;
    while (first < end) {
        const std::uint32_t from = first % 64;
        const std::uint32_t number = std::min(end - first, 64 - from);
        const std::uint64_t mask = ~std::uint64_t{0} >> (64 - number) << from;
        std::uint64_t& word = bits[first / 64];
        word = isSet ? word | mask : word & ~mask;
        first += number;
    }
}

Encoded encode(const Bits& bits) {
    std::uint32_t count = 0;
    std::uint32_t limit = 0;
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i] == 0)
            continue;
        count += static_cast<std::uint32_t>(std::popcount(bits[i]));
        limit = static_cast<std::uint32_t>(i * 64) + static_cast<std::uint32_t>(std::bit_width(bits[i]));
    }
    if (count == 0)
        return nullptr;
    const std::uint32_t absent = limit - count;
    const Header headers[] = {{Form::Members, lowBitsFor(count, limit), count, limit},
                              {Form::Absent, lowBitsFor(absent, limit), absent, limit},
                              {Form::Bits, 0, count, limit}};
    const Header& header = *std::ranges::min_element(headers, {}, encodedWords);
    auto words = std::make_shared<std::uint64_t[]>(encodedWords(header));
    words[0] = header.word();
    if (header.form == Form::Bits)
        encodeBits(header, bits, words.get());
    else
        encodeList(header, bits, words.get());
    return words;
}

void decode(const Encoded& chunk, Bits& bits) {
    bits.fill(0);
    if (!chunk)
        return;
    const Header header = Header::of(chunk.get());
    switch (header.form) {
    case Form::Members:
        forEachListed(chunk.get(), header,
                      [&](std::uint32_t line) { bits[line / 64] |= std::uint64_t{1} << (line % 64); });
        return;
    case Form::Absent:
        std::fill_n(bits.begin(), header.limit / 64, ~std::uint64_t{0});
        if (header.limit % 64 != 0)
            bits[header.limit / 64] = (std::uint64_t{1} << (header.limit % 64)) - 1;
        forEachListed(chunk.get(), header,
                      [&](std::uint32_t line) { bits[line / 64] &= ~(std::uint64_t{1} << (line % 64)); });
        return;
    case Form::Bits:
        std::copy_n(chunk.get() + BitsLayout(header.limit).bits, wordsFor(header.limit), bits.begin());
        return;
    }
}

std::uint32_t size(const Encoded& chunk) {
    if (!chunk)
        return 0;
    const Header header = Header::of(chunk.get());
    return header.form == Form::Absent ? header.limit - header.count : header.count;
}

std::uint32_t rank(const Encoded& chunk, std::uint32_t line) {
    if (!chunk)
        return 0;
    const Header header = Header::of(chunk.get());
    switch (header.form) {
    case Form::Members:
        return listedBefore(chunk.get(), header, line);
    case Form::Absent: {
        const std::uint32_t end = std::min(line, header.limit);
        return end - listedBefore(chunk.get(), header, end);
    }
    case Form::Bits:
        return bitsBefore(chunk.get(), header, line);
    }
    return 0;
}

std::uint32_t select(const Encoded& chunk, std::uint32_t index) {
    const Header header = Header::of(chunk.get());
    switch (header.form) {
    case Form::Members:
        return listedLine(chunk.get(), header, index);
    case Form::Absent:
        return unlistedLine(chunk.get(), header, index);
    case Form::Bits:
        return bitAt(chunk.get(), header, index);
    }
    return 0;
}

} // namespace korvane::line_chunk
