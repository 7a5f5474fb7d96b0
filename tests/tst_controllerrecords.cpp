#include "Models/ControllerConfig.h"
#include "Models/ProtectCamera.h"
#include "Models/RestartTarget.h"
#include "Models/UnifiDevice.h"

#include <QJsonDocument>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

class TestControllerRecords final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void baseUrlOfPlainHost();
};

void TestControllerRecords::baseUrlOfPlainHost()
{
    const ControllerConfig config{u"192.168.1.1"_s, 443, ControllerKind::unifiOS, u"admin"_s, u"default"_s};
    const QUrl url = config.baseURL();
    QCOMPARE(url.scheme(), u"https"_s);
    QCOMPARE(url.host(), u"192.168.1.1"_s);
    QCOMPARE(url.port(), 443);
    QVERIFY(url.path().isEmpty());
}

QTEST_GUILESS_MAIN(TestControllerRecords)
#include "tst_controllerrecords.moc"
