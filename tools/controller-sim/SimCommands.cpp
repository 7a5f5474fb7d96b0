// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimCommands.h"

#include "ControllerSimulator.h"

#include <QStringList>

#include <cmath>

namespace lanternfold::sim::SimCommands {

using namespace Qt::StringLiterals;

namespace {

std::chrono::milliseconds secondsToMs(double seconds)
{
    return std::chrono::milliseconds(std::llround(seconds * 1000.0));
}

double msToSeconds(std::chrono::milliseconds duration)
{
    return double(duration.count()) / 1000.0;
}

QString fault(ControllerSimulator &simulator, const QStringList &words)
{
    if (words.size() >= 2 && words[1] == u"none"_s) {
        simulator.clearFaults();
        return u"OK fault none"_s;
    }
    if (words.size() == 3 && words[1] == u"clear"_s) {
        const auto kind = ControllerSimulator::faultFromName(words[2]);
        if (!kind)
            return u"ERROR unknown fault "_s + words[2];
        simulator.clearFault(*kind);
        return u"OK fault clear "_s + words[2];
    }
    const auto kind = ControllerSimulator::faultFromName(words.value(1));
    if (!kind)
        return u"ERROR unknown fault; try: help"_s;
    Fault fault;
    fault.kind = *kind;
    int next = 2;
    if (*kind == FaultKind::Latency || *kind == FaultKind::Drip) {
        bool ok = false;
        const int ms = words.value(2).toInt(&ok);
        if (!ok || ms < 0)
            return u"ERROR usage: fault "_s + words.value(1) + u" MS [PREFIX]"_s;
        fault.latency = std::chrono::milliseconds(ms);
        next = 3;
    }
    if (words.size() > next + 1 || (words.size() == next + 1 && !words[next].startsWith(u'/')))
        return u"ERROR the path prefix must begin with /"_s;
    fault.pathPrefix = words.value(next);
    simulator.setFault(fault);
    return u"OK "_s + words.join(u' ');
}

QString status(const ControllerSimulator &simulator)
{
    const auto onOff = [](bool on) { return on ? u"on"_s : u"off"_s; };
    return u"OK kind=%1 port=%2 site=%3 rotate=%4 jwt=%5 csrf-cookie=%6 two-factor=%7 keyflip=%8 ratelimit=%9/%10s session=%11s offline=%12s faults=%13 sites=%14 readonly=%15"_s
        .arg(ControllerSimulator::kindName(simulator.kind()))
        .arg(simulator.port())
        .arg(simulator.site())
        .arg(onOff(simulator.csrfRotation()))
        .arg(onOff(simulator.jwtCookie()))
        .arg(onOff(simulator.csrfCookie()))
        .arg(onOff(simulator.twoFactorRequired()))
        .arg(onOff(simulator.keyFlip()))
        .arg(simulator.loginRateLimit())
        .arg(msToSeconds(simulator.loginRateWindow()))
        .arg(msToSeconds(simulator.sessionLifetime()))
        .arg(msToSeconds(simulator.simulatedSite().offlineDuration()))
        .arg(SimFaults::summary(simulator.faults()))
        .arg(simulator.siteNames().join(u','))
        .arg(onOff(simulator.readOnly()));
}

} // namespace

QString help()
{
    return uR"(Commands (one per line on standard input; each is answered with a line "OK ..." or "ERROR ..."):
  fault latency MS [PREFIX]   answer MS milliseconds late
  fault error500 [PREFIX]     answer HTTP 500 with a body that is not UTF-8
  fault malformed [PREFIX]    inventory GETs answer truncated JSON
  fault wrongtype [PREFIX]    inventory GETs answer a device "state" string / a numeric camera "id"
  fault drop [PREFIX]         close the connection without an answer
  fault hang [PREFIX]         keep the connection open and never answer
  fault stall [PREFIX]        send the head and half the body, then nothing; the connection stays open
  fault reset [PREFIX]        send the head and half the body, then reset the connection
  fault drip MS [PREFIX]      send the head, then one byte of body every MS milliseconds, for ever
  fault flood [PREFIX]        answer 200 with a chunked body that never ends
  fault hugeerror [PREFIX]    answer HTTP 500 with a readable body of two megabytes
  fault headerflood [PREFIX]  answer 200 with header lines that never end
  fault clear KIND            switch one fault off
  fault none                  switch all faults off
      PREFIX limits a fault to paths beginning with it; without it, every path but the login path.
  rotate on|off               rotate the CSRF token on every POST answer (X-Updated-CSRF-Token)
  jwt on|off                  UniFi OS: token only inside the JWT session cookie, no header at login
  csrf-cookie on|off          classic: token only in a csrf_token cookie, no header at login
  two-factor on|off           the account wants a second factor: a right password gets the
                              refusal (classic 400 api.err.Ubic2faTokenRequired, UniFi OS 499)
  keyflip on|off              present a second key on every connection after the next one
  readonly on|off             the account may read every site but not restart (403 api.err.NoPermission)
  ratelimit N SECONDS | off   answer 429 once N logins arrived within SECONDS
  session-seconds S           lifetime of sessions made from now on
  offline-seconds S           how long a restarted device or camera stays offline
  expire-sessions             end every session now
  close-connections           close every open connection now, as a restarting web server does
  status                      print the current switches
  help                        print this text
  quit                        stop the simulator)"_s;
}

QString apply(ControllerSimulator &simulator, const QString &line)
{
    const QStringList words = line.simplified().split(u' ', Qt::SkipEmptyParts);
    if (words.isEmpty())
        return u"ERROR empty command"_s;
    const QString command = words.first().toLower();
    const auto onOff = [&](auto setter) -> QString {
        if (words.size() != 2 || (words[1] != u"on"_s && words[1] != u"off"_s))
            return u"ERROR usage: "_s + command + u" on|off"_s;
        setter(words[1] == u"on"_s);
        return u"OK "_s + command + u' ' + words[1];
    };
    const auto seconds = [&](int index, bool *ok) { return words.value(index).toDouble(ok); };

    if (command == u"fault"_s)
        return fault(simulator, words);
    if (command == u"rotate"_s)
        return onOff([&](bool on) { simulator.setCsrfRotation(on); });
    if (command == u"jwt"_s)
        return onOff([&](bool on) { simulator.setJwtCookie(on); });
    if (command == u"csrf-cookie"_s)
        return onOff([&](bool on) { simulator.setCsrfCookie(on); });
    if (command == u"two-factor"_s)
        return onOff([&](bool on) { simulator.setTwoFactorRequired(on); });
    if (command == u"keyflip"_s)
        return onOff([&](bool on) { simulator.setKeyFlip(on); });
    if (command == u"readonly"_s)
        return onOff([&](bool on) { simulator.setReadOnly(on); });
    if (command == u"ratelimit"_s) {
        if (words.size() == 2 && words[1] == u"off"_s) {
            simulator.setLoginRateLimit(0, simulator.loginRateWindow());
            return u"OK ratelimit off"_s;
        }
        bool okCount = false;
        bool okSeconds = false;
        const int count = words.value(1).toInt(&okCount);
        const double window = seconds(2, &okSeconds);
        if (words.size() != 3 || !okCount || !okSeconds || count < 1 || window <= 0)
            return u"ERROR usage: ratelimit N SECONDS | ratelimit off"_s;
        simulator.setLoginRateLimit(count, secondsToMs(window));
        return u"OK "_s + words.join(u' ');
    }
    if (command == u"session-seconds"_s || command == u"offline-seconds"_s) {
        bool ok = false;
        const double value = seconds(1, &ok);
        if (words.size() != 2 || !ok || value < 0)
            return u"ERROR usage: "_s + command + u" SECONDS"_s;
        if (command == u"session-seconds"_s)
            simulator.setSessionLifetime(secondsToMs(value));
        else
            simulator.setOfflineDuration(secondsToMs(value));
        return u"OK "_s + words.join(u' ');
    }
    if (command == u"expire-sessions"_s || command == u"close-connections"_s) {
        if (command == u"expire-sessions"_s)
            simulator.expireSessions();
        else
            simulator.closeConnections();
        return u"OK "_s + command;
    }
    if (command == u"status"_s)
        return status(simulator);
    if (command == u"help"_s)
        return u"OK "_s + help();
    return u"ERROR unknown command "_s + command + u"; try: help"_s;
}

} // namespace lanternfold::sim::SimCommands
