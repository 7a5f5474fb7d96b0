// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "HttpMessage.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace lanternfold::sim {

enum class FaultKind : std::uint8_t {
    Latency,       ///< answer late by Fault::latency
    ServerError,   ///< HTTP 500 with a body that is not UTF-8
    MalformedJson, ///< inventory GETs answer 200 with truncated JSON; with an explicit path
                   ///< prefix, any other 200 answer under it too
    WrongType,     ///< inventory GETs answer 200 with a device "state" string / numeric camera "id"
    Drop,          ///< close the connection without answering
    Hang,          ///< keep the connection open and never answer
    Stall,         ///< send the head and half the body of the answer, then nothing, connection kept open
    Reset,         ///< send the head and half the body of the answer, then reset the connection
    Drip,          ///< send the head, then one byte of body every Fault::latency, for ever
    Flood,         ///< answer 200 with a chunked body that never ends
    HugeError,     ///< answer HTTP 500 with a readable body of two megabytes
    HeaderFlood,   ///< answer 200 with header lines that never end
};

struct Fault
{
    FaultKind kind = FaultKind::Latency;
    /// Paths beginning with this; empty means every path except the login path.
    QString pathPrefix;
    std::chrono::milliseconds latency{0};
};

/// What a connection does with one request.
struct SimOutcome
{
    enum class Action : std::uint8_t {
        Respond,     ///< write the whole answer
        Drop,        ///< close without answering
        Hang,        ///< never answer, ignore what follows
        Stall,       ///< write the head and half the body, then nothing more, ignore what follows
        Reset,       ///< write the head and half the body, then reset the connection
        Drip,        ///< write the head, then one byte every dripInterval, ignore what follows
        Flood,       ///< write a chunked head, then chunks for as long as the client reads
        HeaderFlood, ///< write a status line, then header lines for as long as the client reads
    };
    Action action = Action::Respond;
    HttpResponse response;
    std::chrono::milliseconds delay{0};
    std::chrono::milliseconds dripInterval{0};

    /// Whether the client receives at least the start of response.
    [[nodiscard]] bool startsAnswer() const { return action != Action::Drop && action != Action::Hang; }
};

/// The switched-on faults, one per kind, and how they bend an answer.
class SimFaults
{
public:
    void set(const Fault &fault) { m_faults.insert(fault.kind, fault); }
    void clear(FaultKind kind) { m_faults.remove(kind); }
    void clearAll() { m_faults.clear(); }
    [[nodiscard]] const QHash<FaultKind, Fault> &all() const { return m_faults; }

    /// The fault of that kind if it applies to path; loginPath is spared by faults without a prefix.
    [[nodiscard]] std::optional<Fault> faultFor(FaultKind kind, const QString &path, const QString &loginPath) const;

    /// Runs one request through the faults: latency delays, drop/hang/error500 replace the answer
    /// (answer() is called only when none of them does), a malformed fault with a prefix breaks a
    /// command's success body, and stall/reset cut whatever answer results. Notes the deciding
    /// fault in entry["fault"].
    [[nodiscard]] SimOutcome decide(const QString &path, const QString &loginPath, bool inventoryPath,
                                    const std::function<HttpResponse()> &answer, QJsonObject &entry) const;

    /// "kind[:ms]@prefix" for each fault, sorted, or "none".
    static QString summary(const QHash<FaultKind, Fault> &faults);

    static QString name(FaultKind kind);
    static std::optional<FaultKind> fromName(const QString &name);
    static QList<FaultKind> allKinds();

private:
    QHash<FaultKind, Fault> m_faults;
};

} // namespace lanternfold::sim
