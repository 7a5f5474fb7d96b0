// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// What the controller-client tests share: a pin store in a temporary folder, simulated controllers
// and clients whose first-use question is answered by the test.

#include "Async/Latch.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/CertificateApprover.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Controller/UnifiAPIClient.h"
#include "ControllerSimulator.h"
#include "TestSupport.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <vector>

namespace lanternfold::test {

using Sim = sim::ControllerSimulator;

/// Answers the question about a first-seen key as the test says: with answer, at once or, while
/// held, when released; or through ask, when a test answers in a way of its own. Records every
/// question.
class TestApprover final : public CertificateApprover
{
public:
    using Ask = std::function<QCoro::Task<bool>(QString host, QString fingerprint)>;

    QCoro::Task<bool> approve(QString host, QString fingerprint) override
    {
        asked.append({host, fingerprint});
        if (ask) {
            const Ask answering = ask;
            co_return co_await answering(std::move(host), std::move(fingerprint));
        }
        if (held) {
            const std::shared_ptr<Latch> release = released;
            Wakeup wakeup;
            wakeup.watch(*release);
            co_await wakeup.wait();
        }
        co_return answer;
    }

    bool answer = true;
    bool held = false;
    std::shared_ptr<Latch> released = std::make_shared<Latch>();
    Ask ask;
    QList<QPair<QString, QString>> asked;
};

class ClientFixture
{
public:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        trust = std::make_unique<CertTrustService>(dir->filePath(QStringLiteral("Lanternfold.conf")));
        firstUse = std::make_unique<FirstUseTrust>(*trust);
        approver = std::make_unique<TestApprover>();
        firstUse->setApprover(approver.get());
    }

    void cleanup()
    {
        // Clients first: they hold the pin store by reference.
        clients.clear();
        sims.clear();
        firstUse.reset();
        approver.reset();
        trust.reset();
        dir.reset();
    }

    /// The questions asked so far about first-seen keys: host and fingerprint.
    [[nodiscard]] const QList<QPair<QString, QString>> &questions() const { return approver->asked; }

    /// A simulator on port (any free one when 0) presenting identity (a new key when none): a
    /// controller that comes back after a restart is a new simulator on the old port.
    Sim &startSim(Sim::Kind kind = Sim::Kind::UnifiOS, std::optional<sim::TlsIdentity> identity = std::nullopt,
                  quint16 port = 0)
    {
        auto simulator = std::make_unique<Sim>();
        simulator->setKind(kind);
        simulator->setKeyType(Sim::KeyType::Ec);
        if (identity)
            simulator->setIdentity(*identity);
        simulator->setListenPort(port);
        simulator->setOfflineDuration(std::chrono::seconds(60));
        QString error;
        if (!simulator->start(&error))
            qFatal("simulator did not start: %s", qPrintable(error));
        sims.push_back(std::move(simulator));
        return *sims.back();
    }

    static ControllerConfig configFor(const Sim &simulator, const QString &host = QStringLiteral("127.0.0.1"))
    {
        return ControllerConfig{host, simulator.port(),
                                simulator.kind() == Sim::Kind::UnifiOS ? ControllerKind::unifiOS
                                                                       : ControllerKind::classic,
                                simulator.username(), simulator.site()};
    }

    /// A client whose first-use question is answered at once with approve, and recorded.
    std::unique_ptr<UnifiAPIClient> makeClient(const Sim &simulator, bool approve = true,
                                               const QString &host = QStringLiteral("127.0.0.1")) const
    {
        approver->answer = approve;
        return std::make_unique<UnifiAPIClient>(configFor(simulator, host), *firstUse);
    }

    static QList<QJsonObject> requests(const Sim &simulator)
    {
        return const_cast<Sim &>(simulator).log().entries(QStringLiteral("request"));
    }

    static QList<QJsonObject> handshakes(const Sim &simulator)
    {
        return const_cast<Sim &>(simulator).log().entries(QStringLiteral("handshake"));
    }

    /// The requests of one path, in order.
    static QList<QJsonObject> requestsTo(const Sim &simulator, const QString &path)
    {
        QList<QJsonObject> result;
        for (const QJsonObject &entry : requests(simulator)) {
            if (entry.value(QStringLiteral("path")).toString() == path)
                result.append(entry);
        }
        return result;
    }

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<CertTrustService> trust;
    std::unique_ptr<TestApprover> approver;
    std::unique_ptr<FirstUseTrust> firstUse;
    std::vector<std::unique_ptr<Sim>> sims;
    std::vector<std::unique_ptr<UnifiAPIClient>> clients;
};

/// Whether an error is the one a closed client's suspended operations resume with.
inline bool isClosedError(const UnifiAPIError &error)
{
    return error == UnifiAPIError::closed() && error.kind() == UnifiAPIError::Case::network;
}

} // namespace lanternfold::test
