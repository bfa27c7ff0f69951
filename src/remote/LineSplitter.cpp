#include "remote/LineSplitter.h"

#include <algorithm>

namespace korvane {
namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// The first `count` bytes, less those of a character that would be cut.
qsizetype wholeCharacters(QByteArrayView bytes, qsizetype count) {
    constexpr qsizetype longestCharacter = 4;
    const qsizetype least = std::max<qsizetype>(count - longestCharacter, 0);
    qsizetype end = count;
    while (end > least && isContinuation(bytes[end]))
        --end;
    return end == least ? count : end;
}

void keepLast(QByteArray& last, QByteArrayView bytes) {
    last.append(bytes.last(std::min(bytes.size(), LineSplitter::markSize)));
    if (last.size() > LineSplitter::markSize)
        last.remove(0, last.size() - LineSplitter::markSize);
}

} // namespace

void LineSplitter::resume(const QByteArray& kept, std::uint64_t length) {
    kept_ = kept;
    length_ = length;
}

bool LineSplitter::take(QByteArrayView bytes) {
    while (!bytes.isEmpty() && std::ssize(lines_) < limits_.lines && !isFull_) {
        const qsizetype newline = bytes.indexOf('\n');
        const QByteArrayView part = bytes.first(newline < 0 ? bytes.size() : newline);
        // One more byte shows where a character ends.
        const auto longest = static_cast<qsizetype>(limits_.line) + 1;
        if (kept_.size() < longest)
            kept_.append(part.first(std::min(part.size(), longest - kept_.size())));
        length_ += static_cast<std::uint64_t>(part.size());
        const QByteArrayView taken = bytes.first(newline < 0 ? bytes.size() : newline + 1);
        keepLast(last_, taken);
        bytes = bytes.sliced(taken.size());
        if (newline >= 0)
            finishLine();
        const bool isEnough = (newline >= 0 && size_ >= limits_.bytes) || length_ >= limits_.bytes;
        isFull_ = isEnough && std::ssize(lines_) < limits_.lines;
    }
    return std::ssize(lines_) < limits_.lines && !isFull_;
}

void LineSplitter::finishLine() {
    const auto longest = static_cast<qsizetype>(limits_.line);
    const qsizetype shown = kept_.size() > longest ? wholeCharacters(kept_, longest) : kept_.size();
    lines_.push_back({QString::fromUtf8(QByteArrayView(kept_).first(shown)),
                      length_ - static_cast<std::uint64_t>(shown), false});
    size_ += length_ + 1;
    end_ = last_;
    kept_.resize(0);
    length_ = 0;
}

} // namespace korvane
