#include "Corpus.h"

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <random>
#include <string_view>

namespace korvane::bench {
namespace {

constexpr std::string_view levels[] = {"INFO ", "INFO ", "INFO ", "INFO ",
                                       "DEBUG", "DEBUG", "WARN ", "ERROR"};
constexpr std::string_view components[] = {"http.server",  "db.pool",     "auth.session",      "cache",
                                           "queue.worker", "scheduler",   "storage.compactor", "mail",
                                           "search.index", "net.gateway", "billing.invoice",   "config"};
constexpr std::string_view sentences[] = {
    "request completed status=200",
    "request completed status=404 path=/static/img/logo-small.png",
    "connection returned to the pool",
    "slow query: SELECT id, name, updated_at FROM orders WHERE customer_id = ? ORDER BY updated_at DESC "
    "LIMIT 50",
    "session renewed for user",
    "cache miss, loading from the backing store",
    "job finished, acknowledging the message and taking the next one",
    "retrying after a transient failure: connection reset by peer",
    "compaction of segment finished",
    "Größe der Antwort überschreitet den Grenzwert für 'Übersicht'",
    "configuration reloaded",
    "upstream answered 502, marking the node as unhealthy for 30 s",
};

class LineWriter {
public:
    LineWriter(std::uint64_t seed, Corpus kind) : random_(seed), kind_(kind) {}

    void append(std::string& out) {
        timeMilliseconds_ += random_() % 7;
        const std::uint64_t draw = random_();
        char head[96];
        const auto seconds = timeMilliseconds_ / 1000;
        std::snprintf(head, sizeof head, "2024-03-%02u %02u:%02u:%02u.%03u ",
                      unsigned(seconds / 86400 % 28 + 1), unsigned(seconds / 3600 % 24),
                      unsigned(seconds / 60 % 60), unsigned(seconds % 60),
                      unsigned(timeMilliseconds_ % 1000));
        out += head;
        out += levels[draw % std::size(levels)];
        out += " [worker-";
        out += std::to_string(draw >> 8 & 31);
        out += "] ";
        out += components[(draw >> 16) % std::size(components)];
        out += " - ";
        out += sentences[(draw >> 32) % std::size(sentences)];
        std::snprintf(head, sizeof head, " id=%08" PRIx64 " took=%ums", draw * 0x9E3779B97F4A7C15U >> 32,
                      unsigned(draw >> 40 & 0x3FFF));
        out += head;
        // Some lines have a payload, rarely a long one.
        const unsigned kind = draw >> 24 & 0xFF;
        if (kind < 16)
            appendPayload(out, 20 + draw % 120);
        if (kind == 255 && (draw & 7) == 0)
            appendPayload(out, 1000 + draw % 3000);
        if (kind_ == Corpus::Mixed)
            appendEnd(out, draw);
        else
            out += '\n';
    }

private:
    void appendEnd(std::string& out, std::uint64_t draw) {
        const std::string_view end = (draw >> 52) % 20 == 0 ? "\r\n" : "\n";
        out += end;
        if (draw % std::size(levels) != std::size(levels) - 1 || (draw >> 56) % 8 != 0)
            return;
        // Rarely another exception than usual.
        out += random_() % 2000 == 0 ? "java.lang.OutOfMemoryError: Java heap space"
                                     : "java.io.IOException: Connection reset by peer";
        out += end;
        for (std::uint64_t frame = 4 + random_() % 12; frame > 0; --frame) {
            out += "\tat com.example.shop.";
            out += components[random_() % std::size(components)];
            out += ".Handler.process(Handler.java:" + std::to_string(random_() % 900 + 10) + ")";
            out += end;
        }
    }

    static void appendPayload(std::string& out, std::size_t length) {
        constexpr std::string_view text =
            R"({"items":[{"sku":"A-1093","count":2},{"sku":"B-77","count":1}],"note":null},)";
        out += " payload=";
        for (std::size_t i = 0; i < length; i += text.size())
            out += text.substr(0, std::min(text.size(), length - i));
    }

    std::mt19937_64 random_;
    const Corpus kind_;
    std::uint64_t timeMilliseconds_ = 0;
};

} // namespace

bool writeCorpus(const std::string& path, std::uint64_t bytes, std::uint64_t seed, Corpus kind) {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "wb"),
                                                                  &std::fclose);
    if (!file)
        return false;
    LineWriter writer(seed, kind);
    std::string block;
    for (std::uint64_t written = 0; written < bytes;) {
        block.clear();
        while (block.size() < 1 << 20 && written + block.size() < bytes)
            writer.append(block);
        if (std::fwrite(block.data(), 1, block.size(), file.get()) != block.size())
            return false;
        written += block.size();
    }
    return std::fflush(file.get()) == 0;
}

} // namespace korvane::bench
