// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimFaults.h"

#include <QStringList>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

std::optional<Fault> SimFaults::faultFor(FaultKind kind, const QString &path, const QString &loginPath) const
{
    const auto it = m_faults.constFind(kind);
    if (it == m_faults.constEnd())
        return std::nullopt;
    const bool applies = it->pathPrefix.isEmpty() ? path != loginPath : path.startsWith(it->pathPrefix);
    return applies ? std::optional<Fault>(*it) : std::nullopt;
}

SimOutcome SimFaults::decide(const QString &path, const QString &loginPath, bool inventoryPath,
                             const std::function<HttpResponse()> &answer, QJsonObject &entry) const
{
    const auto applies = [&](FaultKind kind) { return faultFor(kind, path, loginPath).has_value(); };
    const auto note = [&](FaultKind kind) { entry.insert(u"fault"_s, name(kind)); };

    SimOutcome outcome;
    if (const auto latency = faultFor(FaultKind::Latency, path, loginPath))
        outcome.delay = latency->latency;

    if (applies(FaultKind::Drop)) {
        outcome.action = SimOutcome::Action::Drop;
        note(FaultKind::Drop);
        return outcome;
    }
    if (applies(FaultKind::Hang)) {
        outcome.action = SimOutcome::Action::Hang;
        note(FaultKind::Hang);
        return outcome;
    }
    if (const auto drip = faultFor(FaultKind::Drip, path, loginPath)) {
        outcome.action = SimOutcome::Action::Drip;
        outcome.dripInterval = drip->latency.count() > 0 ? drip->latency : std::chrono::milliseconds(40'000);
        outcome.response.status = 200;
        outcome.response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json"));
        note(FaultKind::Drip);
        return outcome;
    }
    if (applies(FaultKind::HeaderFlood)) {
        outcome.action = SimOutcome::Action::HeaderFlood;
        note(FaultKind::HeaderFlood);
        return outcome;
    }
    if (applies(FaultKind::Flood)) {
        outcome.action = SimOutcome::Action::Flood;
        outcome.response.status = 200;
        outcome.response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json"));
        note(FaultKind::Flood);
        return outcome;
    }
    if (applies(FaultKind::HugeError)) {
        outcome.response.status = 500;
        outcome.response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/plain"));
        outcome.response.body = QByteArray(2 << 20, 'E');
        note(FaultKind::HugeError);
    } else if (applies(FaultKind::ServerError)) {
        outcome.response.status = 500;
        outcome.response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/plain"));
        // Bytes that are not UTF-8 in any reading: a client must cope with an undecodable body.
        outcome.response.body = QByteArrayLiteral("\xff\xfe\xfd Internal Server Error \xc3\x28");
        note(FaultKind::ServerError);
    } else {
        outcome.response = answer();
    }

    if (const auto malformed = faultFor(FaultKind::MalformedJson, path, loginPath);
        malformed && !malformed->pathPrefix.isEmpty() && outcome.response.status == 200 && !inventoryPath) {
        // A broken body on a command's success answer: clients that only look at the status must not care.
        outcome.response.body = QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[)");
        note(FaultKind::MalformedJson);
    }

    // Last, so that they cut the answer exactly as it would otherwise have gone out.
    if (applies(FaultKind::Stall)) {
        outcome.action = SimOutcome::Action::Stall;
        note(FaultKind::Stall);
    } else if (applies(FaultKind::Reset)) {
        outcome.action = SimOutcome::Action::Reset;
        note(FaultKind::Reset);
    }
    return outcome;
}

QString SimFaults::summary(const QHash<FaultKind, Fault> &all)
{
    QStringList faults;
    for (const Fault &fault : all) {
        QString text = name(fault.kind);
        if (fault.kind == FaultKind::Latency || fault.kind == FaultKind::Drip)
            text += u':' + QString::number(fault.latency.count());
        faults.append(text + u'@' + (fault.pathPrefix.isEmpty() ? u"*"_s : fault.pathPrefix));
    }
    faults.sort();
    return faults.isEmpty() ? u"none"_s : faults.join(u',');
}

QString SimFaults::name(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Latency:
        return u"latency"_s;
    case FaultKind::ServerError:
        return u"error500"_s;
    case FaultKind::MalformedJson:
        return u"malformed"_s;
    case FaultKind::WrongType:
        return u"wrongtype"_s;
    case FaultKind::Drop:
        return u"drop"_s;
    case FaultKind::Hang:
        return u"hang"_s;
    case FaultKind::Stall:
        return u"stall"_s;
    case FaultKind::Reset:
        return u"reset"_s;
    case FaultKind::Drip:
        return u"drip"_s;
    case FaultKind::Flood:
        return u"flood"_s;
    case FaultKind::HugeError:
        return u"hugeerror"_s;
    case FaultKind::HeaderFlood:
        return u"headerflood"_s;
    }
    return {};
}

QList<FaultKind> SimFaults::allKinds()
{
    return {FaultKind::Latency, FaultKind::ServerError, FaultKind::MalformedJson, FaultKind::WrongType,
            FaultKind::Drop,    FaultKind::Hang,        FaultKind::Stall,         FaultKind::Reset,
            FaultKind::Drip,    FaultKind::Flood,       FaultKind::HugeError,     FaultKind::HeaderFlood};
}

std::optional<FaultKind> SimFaults::fromName(const QString &name)
{
    for (const FaultKind kind : allKinds()) {
        if (SimFaults::name(kind) == name)
            return kind;
    }
    return std::nullopt;
}

} // namespace lanternfold::sim
