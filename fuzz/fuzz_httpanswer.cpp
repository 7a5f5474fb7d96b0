// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The bytes of a connection, as HttpAnswerReader reads one answer out of them: however the bytes
// are cut as they arrive, the outcome is the same, and nothing kept exceeds its bound.
//
// The first byte chooses where the input is cut (a seed for the piece sizes); the rest is the
// connection's bytes.

#include "Controller/HttpAnswerReader.h"
#include "support/FuzzSupport.h"

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

namespace {

constexpr qint64 bodyLimit = 4096;

struct Outcome
{
    bool complete = false;
    HttpAnswerReader::Failure failure = HttpAnswerReader::Failure::none;
    int status = 0;
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;
    bool keeps = false;
    qsizetype used = 0;

    bool operator==(const Outcome &) const = default;
};

Outcome read(const QByteArray &bytes, unsigned seed)
{
    HttpAnswerReader reader(bodyLimit);
    Outcome outcome;
    qsizetype at = 0;
    unsigned state = seed;
    while (at < bytes.size() && !reader.isComplete() && !reader.hasFailed()) {
        // A small linear congruential sequence: pieces of 1 to 64 bytes, or all of it for seed 0.
        state = state * 1103515245U + 12345U;
        const qsizetype piece = seed == 0 ? bytes.size() : qsizetype(1 + (state >> 16) % 64);
        const QByteArray chunk = bytes.mid(at, piece);
        const qsizetype used = reader.feed(chunk);
        if (used > chunk.size())
            fuzz::invariantBroken("the reader used more bytes than it was given");
        outcome.used += used;
        at += chunk.size();
    }
    reader.endOfStream();
    outcome.complete = reader.isComplete();
    // A failed answer stops taking bytes wherever the piece that failed it ended.
    if (!outcome.complete)
        outcome.used = 0;
    outcome.failure = reader.failure();
    outcome.keeps = reader.keepsConnection() && outcome.complete;
    if (outcome.complete == reader.hasFailed())
        fuzz::invariantBroken("an answer both complete and failed, or neither, after the end of the stream");
    if (outcome.complete) {
        HttpAnswer answer = reader.take();
        outcome.status = answer.status;
        outcome.headers = answer.headers;
        for (const QByteArray &piece : answer.body)
            outcome.body += piece;
        if (outcome.status < 200 || outcome.status > 599)
            fuzz::invariantBroken("an answer completed with an interim or impossible status");
        if (outcome.body.size() > bodyLimit)
            fuzz::invariantBroken("a body above its limit was kept");
        if (outcome.headers.size() > HttpAnswerReader::fieldLimit)
            fuzz::invariantBroken("more header fields than the bound were kept");
        for (const auto &[name, value] : outcome.headers) {
            if (name != name.toLower() || value.contains('\r') || value.contains('\n'))
                fuzz::invariantBroken("a header name not in lower case, or a value with a line break");
        }
    }
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    if (size < 1)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size - 1));
    const Outcome whole = read(bytes, 0);
    const Outcome cut = read(bytes, data[0] == 0 ? 1U : unsigned(data[0]));
    if (!(whole == cut))
        fuzz::invariantBroken("the same bytes cut differently gave another answer");
    return 0;
}
