// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "Views/BusyButton.h"
#include "Views/LoginView.h"
#include "Views/TextStyle.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>

#include <limits>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

/// A loopback address of its own, so that listening on the kinds' default ports meets nobody
/// else's server.
QHostAddress probeAddress()
{
    return QHostAddress(u"127.81.43.9"_s);
}

/// Notes the port of every connection that arrives, and hangs up at once.
class PortProbe final : public QObject
{
public:
    explicit PortProbe(quint16 port)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this, port] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                arrived.append(port);
                socket->abort();
                socket->deleteLater();
            }
        });
        listening = m_server.listen(probeAddress(), port);
    }

    bool listening = false;
    QList<quint16> arrived;

private:
    QTcpServer m_server;
};

} // namespace

/// The connect form: its texts and names, the kind's port, the button's rule, the prefill from the
/// saved controller, and connects through the real form against the simulated controller.
class TestLoginView final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup();

    void firstStartDefaults();
    void connectNeedsHostUserAndPassword_data();
    void connectNeedsHostUserAndPassword();
    void kindReplacesTypedPort();
    void portParsing_data();
    void portParsing();
    void unusablePortConnectsOnTheKindsDefault_data();
    void unusablePortConnectsOnTheKindsDefault();
    void blankHostEnablesAndIsSentAsTyped();
    void credentialsAreSentAsTyped();
    void connectingAgainKeepsTheSiteChosen();
    void connectThroughTheForm();
    void whileConnectingNothingMoreStarts();
    void failureShowsTheErrorInRed();
    void prefillKeepsASavedPortOffTheKindsDefault();
    void prefillKeepsAClassicControllersOwnPort();
    void prefillRunsEachTimeTheFormIsShown();
    void accessibleNamesAreTheLabels();
    void tabOrderFollowsTheForm();

private:
    LoginView &makeView();
    [[nodiscard]] QLineEdit *field(const QString &label) const;
    [[nodiscard]] QComboBox *kindPicker() const;
    [[nodiscard]] QCheckBox *rememberSwitch() const;
    [[nodiscard]] BusyButton *connectButton() const;
    [[nodiscard]] QLabel *labelWithText(const QString &text) const;
    void fillForm(const QString &host, const QString &port, const QString &username, const QString &password) const;
    static void retype(QLineEdit *edit, const QString &text);
    void saveConfig(const ControllerConfig &config) const;

    std::unique_ptr<LoginView> m_view;
};

void TestLoginView::cleanup()
{
    // The view first: it watches the state.
    m_view.reset();
    StateFixture::cleanup();
}

LoginView &TestLoginView::makeView()
{
    if (!state)
        makeState();
    m_view = std::make_unique<LoginView>(*state);
    m_view->resize(620, 560);
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        qFatal("the login form was never shown");
    return *m_view;
}

QLabel *TestLoginView::labelWithText(const QString &text) const
{
    const QList<QLabel *> labels = m_view->findChildren<QLabel *>();
    const auto found =
        std::find_if(labels.cbegin(), labels.cend(), [&text](const QLabel *label) { return label->text() == text; });
    return found == labels.cend() ? nullptr : *found;
}

QLineEdit *TestLoginView::field(const QString &label) const
{
    // Found through its label, as a person (and a screen reader) finds it.
    const QLabel *named = labelWithText(label);
    if (!named)
        qFatal("no label %s", qPrintable(label));
    auto *edit = qobject_cast<QLineEdit *>(named->buddy());
    if (!edit)
        qFatal("label %s names no text field", qPrintable(label));
    return edit;
}

QComboBox *TestLoginView::kindPicker() const
{
    const QLabel *named = labelWithText(u"Controller type"_s);
    auto *picker = named ? qobject_cast<QComboBox *>(named->buddy()) : nullptr;
    if (!picker)
        qFatal("no controller type picker");
    return picker;
}

QCheckBox *TestLoginView::rememberSwitch() const
{
    auto *box = m_view->findChild<QCheckBox *>();
    if (!box)
        qFatal("no switch");
    return box;
}

BusyButton *TestLoginView::connectButton() const
{
    auto *button = m_view->findChild<BusyButton *>();
    if (!button)
        qFatal("no connect button");
    return button;
}

void TestLoginView::retype(QLineEdit *edit, const QString &text)
{
    edit->setFocus();
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    for (const QChar character : text) {
        // QTest types Latin-1 only; other characters arrive as the text of a key without a code.
        if (character.unicode() < 0x80)
            QTest::keyClick(edit, static_cast<char>(character.unicode()));
        else
            QTest::sendKeyEvent(QTest::Click, edit, Qt::Key_unknown, QString(character), Qt::NoModifier);
    }
}

void TestLoginView::fillForm(const QString &host, const QString &port, const QString &username,
                             const QString &password) const
{
    retype(field(u"Controller IP or hostname"_s), host);
    retype(field(u"Port"_s), port);
    retype(field(u"Username"_s), username);
    retype(field(u"Password"_s), password);
}

void TestLoginView::saveConfig(const ControllerConfig &config) const
{
    QSettings settings(settingsPath(), QSettings::NativeFormat);
    settings.setValue(AppState::configDefaultsKey, QJsonDocument(config.toJson()).toJson(QJsonDocument::Compact));
}

void TestLoginView::firstStartDefaults()
{
    LoginView &view = makeView();
    QCOMPARE(field(u"Port"_s)->text(), u"443"_s);
    QCOMPARE(view.kind(), ControllerKind::unifiOS);
    QCOMPARE(kindPicker()->currentText(), u"UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)"_s);
    QVERIFY(field(u"Controller IP or hostname"_s)->text().isEmpty());
    QCOMPARE(field(u"Controller IP or hostname"_s)->placeholderText(), u"192.168.1.1"_s);
    QVERIFY(field(u"Username"_s)->text().isEmpty());
    QVERIFY(field(u"Password"_s)->text().isEmpty());
    QCOMPARE(field(u"Password"_s)->echoMode(), QLineEdit::Password);
    QVERIFY(rememberSwitch()->isChecked());
    QCOMPARE(rememberSwitch()->text(), u"Remember password in keyring"_s);
    QCOMPARE(connectButton()->text(), u"Connect"_s);
    QVERIFY(!connectButton()->isEnabled());
    // The texts around the form.
    QVERIFY(labelWithText(u"Lanternfold"_s));
    QVERIFY(labelWithText(u"Connect to your local UniFi controller"_s));
    QVERIFY(labelWithText(
        u"Credentials are sent directly to your controller over your LAN and stored only in your system keyring. "
        u"The controller's TLS certificate is pinned on first connect \u2014 see Settings to review or reset it."_s));
    QCOMPARE(kindPicker()->itemText(1), u"Classic (self-hosted Network Application)"_s);
    QCOMPARE(kindPicker()->count(), 2);
}

void TestLoginView::connectNeedsHostUserAndPassword_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("username");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("port");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("nothing") << u""_s << u""_s << u""_s << u"443"_s << false;
    QTest::newRow("host only") << probeAddress().toString() << u""_s << u""_s << u"443"_s << false;
    QTest::newRow("no password") << probeAddress().toString() << u"admin"_s << u""_s << u"443"_s << false;
    QTest::newRow("no user") << probeAddress().toString() << u""_s << u"pw"_s << u"443"_s << false;
    QTest::newRow("no host") << u""_s << u"admin"_s << u"pw"_s << u"443"_s << false;
    QTest::newRow("all three") << probeAddress().toString() << u"admin"_s << u"pw"_s << u"443"_s << true;
    QTest::newRow("blanks count as text") << u" "_s << u" "_s << u" "_s << u"443"_s << true;
    QTest::newRow("port takes no part") << probeAddress().toString() << u"admin"_s << u"pw"_s << u""_s << true;
    QTest::newRow("nor does a bad port") << probeAddress().toString() << u"admin"_s << u"pw"_s << u"port"_s << true;
}

void TestLoginView::connectNeedsHostUserAndPassword()
{
    QFETCH(QString, host);
    QFETCH(QString, username);
    QFETCH(QString, password);
    QFETCH(QString, port);
    QFETCH(bool, enabled);
    makeView();
    fillForm(host, port, username, password);
    QCOMPARE(connectButton()->isEnabled(), enabled);
    // Return asks for exactly what the button offers.
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QCOMPARE(state->isConnecting(), enabled);
}

void TestLoginView::kindReplacesTypedPort()
{
    LoginView &view = makeView();
    QLineEdit *port = field(u"Port"_s);
    retype(port, u"9000"_s);
    kindPicker()->setFocus();
    QTest::keyClick(kindPicker(), Qt::Key_Down);
    QCOMPARE(view.kind(), ControllerKind::classic);
    QCOMPARE(kindPicker()->currentText(), u"Classic (self-hosted Network Application)"_s);
    QCOMPARE(port->text(), u"8443"_s);
    retype(port, u"12345"_s);
    QTest::keyClick(kindPicker(), Qt::Key_Up);
    QCOMPARE(view.kind(), ControllerKind::unifiOS);
    QCOMPARE(port->text(), u"443"_s);
}

void TestLoginView::portParsing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<ControllerKind>("kind");
    QTest::addColumn<qint64>("port");
    const auto unifi = ControllerKind::unifiOS;
    const auto classic = ControllerKind::classic;
    const qint64 max = std::numeric_limits<qint64>::max();
    const qint64 min = std::numeric_limits<qint64>::min();
    QTest::newRow("letters, UniFi OS") << u"abc"_s << unifi << qint64(443);
    QTest::newRow("letters, classic") << u"abc"_s << classic << qint64(8443);
    QTest::newRow("empty, UniFi OS") << u""_s << unifi << qint64(443);
    QTest::newRow("empty, classic") << u""_s << classic << qint64(8443);
    QTest::newRow("plus sign") << u"+8443"_s << unifi << qint64(8443);
    QTest::newRow("digits") << u"10443"_s << classic << qint64(10443);
    QTest::newRow("zero passes") << u"0"_s << classic << qint64(0);
    QTest::newRow("negative passes") << u"-5"_s << unifi << qint64(-5);
    QTest::newRow("out of range passes") << u"70000"_s << unifi << qint64(70000);
    QTest::newRow("leading zeros") << u"0443"_s << classic << qint64(443);
    QTest::newRow("largest") << u"9223372036854775807"_s << unifi << max;
    QTest::newRow("smallest") << u"-9223372036854775808"_s << unifi << min;
    QTest::newRow("overflow") << u"9223372036854775808"_s << classic << qint64(8443);
    QTest::newRow("underflow") << u"-9223372036854775809"_s << unifi << qint64(443);
    QTest::newRow("sign alone") << u"+"_s << unifi << qint64(443);
    QTest::newRow("minus alone") << u"-"_s << classic << qint64(8443);
    QTest::newRow("two signs") << u"+-1"_s << unifi << qint64(443);
    QTest::newRow("leading space") << u" 8443"_s << unifi << qint64(443);
    QTest::newRow("trailing space") << u"8443 "_s << unifi << qint64(443);
    QTest::newRow("inner space") << u"84 43"_s << unifi << qint64(443);
    QTest::newRow("hexadecimal") << u"0x1bb"_s << unifi << qint64(443);
    QTest::newRow("fraction") << u"443.0"_s << classic << qint64(8443);
    QTest::newRow("other digits") << u"\u0664\u0664\u0663"_s << classic << qint64(8443);
    QTest::newRow("full-width digits") << u"\uff18\uff14\uff14\uff13"_s << unifi << qint64(443);
}

void TestLoginView::portParsing()
{
    QFETCH(QString, text);
    QFETCH(ControllerKind, kind);
    QFETCH(qint64, port);
    LoginView &view = makeView();
    view.setKind(kind);
    fillForm(probeAddress().toString(), text, u"admin"_s, u"pw"_s);
    QCOMPARE(field(u"Port"_s)->text(), text);
    QCOMPARE(view.request().config.port, port);
    QCOMPARE(view.request().config.kind, kind);
}

void TestLoginView::unusablePortConnectsOnTheKindsDefault_data()
{
    QTest::addColumn<ControllerKind>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<quint16>("expected");
    QTest::newRow("letters, UniFi OS") << ControllerKind::unifiOS << u"https"_s << quint16(443);
    QTest::newRow("empty, UniFi OS") << ControllerKind::unifiOS << u""_s << quint16(443);
    QTest::newRow("letters, classic") << ControllerKind::classic << u"https"_s << quint16(8443);
    QTest::newRow("empty, classic") << ControllerKind::classic << u""_s << quint16(8443);
    QTest::newRow("plus sign") << ControllerKind::unifiOS << u"+8443"_s << quint16(8443);
}

void TestLoginView::unusablePortConnectsOnTheKindsDefault()
{
    QFETCH(ControllerKind, kind);
    QFETCH(QString, text);
    QFETCH(quint16, expected);
    // Listening on 443 needs the privilege the test machines run with.
    const PortProbe https(443);
    const PortProbe classic(8443);
    QVERIFY2(https.listening && classic.listening, "cannot listen on 127.81.43.9 ports 443 and 8443");
    LoginView &view = makeView();
    view.setKind(kind);
    fillForm(probeAddress().toString(), text, u"admin"_s, u"pw"_s);
    QTest::keyClick(field(u"Port"_s), Qt::Key_Return);
    QVERIFY(state->isConnecting());
    QTRY_VERIFY(!state->isConnecting());
    QVERIFY(state->lastError());
    QCOMPARE(https.arrived.size() + classic.arrived.size(), 1);
    QCOMPARE(expected == 443 ? https.arrived : classic.arrived, QList<quint16>{expected});
}

void TestLoginView::blankHostEnablesAndIsSentAsTyped()
{
    LoginView &view = makeView();
    fillForm(u"   "_s, u"443"_s, u"admin"_s, u"pw"_s);
    QVERIFY(connectButton()->isEnabled());
    QCOMPARE(view.request().config.host, u"   "_s);
    QTest::keyClick(field(u"Controller IP or hostname"_s), Qt::Key_Return);
    QVERIFY(state->isConnecting());
    // Such a host names no address: the state reports it, nothing is trimmed into one.
    QTRY_VERIFY_WITH_TIMEOUT(!state->isConnecting(), 60000);
    QVERIFY(state->lastError());
    QVERIFY(!state->isLoggedIn());
}

void TestLoginView::credentialsAreSentAsTyped()
{
    Sim &sim = startSim();
    LoginView &view = makeView();
    fillForm(u"127.0.0.1"_s, QString::number(sim.port()), u" demo "_s, sim.password() + u" "_s);
    QCOMPARE(view.request(), (LoginView::Request{ControllerConfig{u"127.0.0.1"_s, sim.port(), ControllerKind::unifiOS,
                                                                  u" demo "_s, u"default"_s},
                                                 sim.password() + u" "_s, true}));
    QTest::keyClick(field(u"Username"_s), Qt::Key_Return);
    QTRY_VERIFY(!state->isConnecting());
    QVERIFY(!state->isLoggedIn());
    const QList<QJsonObject> logins = requestsTo(sim, u"/api/auth/login"_s);
    QCOMPARE(logins.size(), 1);
    const QJsonObject body = QJsonDocument::fromJson(logins.first().value(u"body"_s).toString().toUtf8()).object();
    QCOMPARE(body.value(u"username"_s).toString(), u" demo "_s);
    QCOMPARE(body.value(u"password"_s).toString(), sim.password() + u" "_s);
}

void TestLoginView::connectThroughTheForm()
{
    Sim &sim = startSim();
    makeView();
    fillForm(u"127.0.0.1"_s, QString::number(sim.port()), sim.username(), sim.password());
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QTRY_VERIFY(state->isLoggedIn());
    QTRY_VERIFY(!state->isConnecting());
    QCOMPARE(state->config(), std::optional<ControllerConfig>(configFor(sim)));
    QCOMPARE(approver->asked.size(), 1);
    QVERIFY(!state->accessPoints().isEmpty());
    // Remembered, as the switch said.
    QCOMPARE(keyringPassword(configFor(sim)), sim.password());
    QVERIFY(!connectButton()->isBusy());
}

void TestLoginView::whileConnectingNothingMoreStarts()
{
    Sim &sim = startSim();
    approver->held = true;
    makeView();
    fillForm(u"127.0.0.1"_s, QString::number(sim.port()), sim.username(), sim.password());
    BusyButton *button = connectButton();
    QVERIFY(!button->isBusy());
    QVERIFY(!button->indicator()->isVisible());
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(state->isConnecting());
    QVERIFY(button->isBusy());
    QVERIFY(button->indicator()->isVisible());
    QVERIFY(button->text().isEmpty());
    QVERIFY(!button->isEnabled());
    QTRY_COMPARE(approver->asked.size(), 1);
    // Neither Return nor a click starts a second attempt.
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QTest::keyClick(kindPicker(), Qt::Key_Return);
    QTest::mouseClick(button, Qt::LeftButton);
    approver->released->set();
    QTRY_VERIFY(!state->isConnecting());
    QVERIFY(state->isLoggedIn());
    QCOMPARE(approver->asked.size(), 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), 1);
    QVERIFY(!button->isBusy());
    QVERIFY(!button->indicator()->isVisible());
    QCOMPARE(button->text(), u"Connect"_s);
    QVERIFY(button->isEnabled());
}

void TestLoginView::failureShowsTheErrorInRed()
{
    Sim &sim = startSim();
    makeView();
    QList<QLabel *> hidden;
    for (QLabel *label : m_view->findChildren<QLabel *>()) {
        if (!label->isVisible())
            hidden.append(label);
    }
    QCOMPARE(hidden.size(), 1); // the error line, while there is no error
    fillForm(u"127.0.0.1"_s, QString::number(sim.port()), sim.username(), u"wrong"_s);
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QTRY_VERIFY(!state->isConnecting());
    QVERIFY(state->lastError());
    QLabel *shown = labelWithText(*state->lastError());
    QVERIFY(shown);
    QVERIFY(shown->isVisible());
    QCOMPARE(shown, hidden.first());
    QCOMPARE(shown->palette().color(QPalette::WindowText), errorTextColor(m_view->palette()));
    // What was typed stays.
    QCOMPARE(field(u"Username"_s)->text(), sim.username());
    QCOMPARE(field(u"Password"_s)->text(), u"wrong"_s);
    // The next attempt clears the line until it has its own outcome.
    retype(field(u"Password"_s), sim.password());
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QVERIFY(!shown->isVisible());
    QTRY_VERIFY(state->isLoggedIn());
}

void TestLoginView::connectingAgainKeepsTheSiteChosen()
{
    saveConfig(ControllerConfig{u"udm.lan"_s, 8443, ControllerKind::unifiOS, u"admin"_s, u"k3w9d2xa"_s});
    LoginView &view = makeView();
    // The same controller and user: the site chosen in Settings stays.
    fillForm(u"udm.lan"_s, u"8443"_s, u"admin"_s, u"secret"_s);
    QCOMPARE(view.request().config.site, u"k3w9d2xa"_s);
    // Another user, or another controller, starts from the site every controller has.
    fillForm(u"udm.lan"_s, u"8443"_s, u"operator"_s, u"secret"_s);
    QCOMPARE(view.request().config.site, u"default"_s);
    fillForm(u"10.0.0.1"_s, u"8443"_s, u"admin"_s, u"secret"_s);
    QCOMPARE(view.request().config.site, u"default"_s);
}

void TestLoginView::prefillKeepsASavedPortOffTheKindsDefault()
{
    saveConfig(ControllerConfig{u"udm.lan"_s, 8443, ControllerKind::unifiOS, u"admin"_s, u"default"_s});
    makeState();
    m_view = std::make_unique<LoginView>(*state);
    // The form stood at Classic when it was last shown; the saved UniFi OS kind must not reset
    // the saved port to 443.
    m_view->setKind(ControllerKind::classic);
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    QCOMPARE(m_view->kind(), ControllerKind::unifiOS);
    QCOMPARE(field(u"Port"_s)->text(), u"8443"_s);
    QCOMPARE(field(u"Controller IP or hostname"_s)->text(), u"udm.lan"_s);
    QCOMPARE(field(u"Username"_s)->text(), u"admin"_s);
    QVERIFY(field(u"Password"_s)->text().isEmpty());
    QVERIFY(rememberSwitch()->isChecked());
}

void TestLoginView::prefillKeepsAClassicControllersOwnPort()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    makeState();
    connectTo(sim, /*rememberPassword=*/false);
    QVERIFY(state->isLoggedIn());
    await(state->disconnect());
    LoginView &view = makeView();
    QCOMPARE(view.kind(), ControllerKind::classic);
    QCOMPARE(field(u"Port"_s)->text(), QString::number(sim.port()));
    QVERIFY(sim.port() != 8443);
    // A connect from the prefilled form reaches the same controller.
    retype(field(u"Password"_s), sim.password());
    QTest::keyClick(field(u"Password"_s), Qt::Key_Return);
    QTRY_VERIFY(state->isLoggedIn());
    QCOMPARE(state->config()->port, qint64(sim.port()));
}

void TestLoginView::prefillRunsEachTimeTheFormIsShown()
{
    // Without a saved controller the form keeps its own starting values.
    LoginView &view = makeView();
    QVERIFY(field(u"Controller IP or hostname"_s)->text().isEmpty());
    QCOMPARE(field(u"Port"_s)->text(), u"443"_s);
    retype(field(u"Controller IP or hostname"_s), u"typed.lan"_s);
    view.hide();
    view.show();
    QCOMPARE(field(u"Controller IP or hostname"_s)->text(), u"typed.lan"_s);

    // Once a controller is saved, every showing fills the form from it again.
    Sim &sim = startSim();
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    QCOMPARE(field(u"Controller IP or hostname"_s)->text(), u"typed.lan"_s);
    view.hide();
    retype(field(u"Username"_s), u"someone"_s);
    rememberSwitch()->setChecked(false);
    retype(field(u"Password"_s), u"kept"_s);
    view.show();
    QCOMPARE(field(u"Controller IP or hostname"_s)->text(), u"127.0.0.1"_s);
    QCOMPARE(field(u"Port"_s)->text(), QString::number(sim.port()));
    QCOMPARE(field(u"Username"_s)->text(), sim.username());
    QCOMPARE(view.kind(), ControllerKind::unifiOS);
    // The password and the switch are the person's.
    QCOMPARE(field(u"Password"_s)->text(), u"kept"_s);
    QVERIFY(!rememberSwitch()->isChecked());
}

void TestLoginView::accessibleNamesAreTheLabels()
{
    makeView();
    const auto nameOf = [](QObject *object) {
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(object);
        return accessible ? accessible->text(QAccessible::Name) : QString();
    };
    for (const QString &label : {u"Controller IP or hostname"_s, u"Port"_s, u"Username"_s, u"Password"_s}) {
        QCOMPARE(nameOf(field(label)), label);
    }
    QCOMPARE(nameOf(rememberSwitch()), u"Remember password in keyring"_s);
    QCOMPARE(nameOf(connectButton()), u"Connect"_s);
    // Qt names a picker by its current choice; its label reaches a screen reader as the
    // picker's labelling relation.
    QAccessibleInterface *picker = QAccessible::queryAccessibleInterface(kindPicker());
    QVERIFY(picker);
    const auto labelledBy = picker->relations(QAccessible::Label);
    QCOMPARE(labelledBy.size(), 1);
    QCOMPARE(labelledBy.first().first->text(QAccessible::Name), u"Controller type"_s);
    // While connecting the bar replaces the label for the eye only.
    connectButton()->setBusy(true);
    QCOMPARE(nameOf(connectButton()), u"Connect"_s);
    connectButton()->setBusy(false);
    QCOMPARE(nameOf(connectButton()), u"Connect"_s);
    QCOMPARE(nameOf(labelWithText(u"Connect to your local UniFi controller"_s)),
             u"Connect to your local UniFi controller"_s);
}

void TestLoginView::tabOrderFollowsTheForm()
{
    makeView();
    fillForm(probeAddress().toString(), u"443"_s, u"admin"_s, u"pw"_s);
    QApplication::setActiveWindow(m_view.get());
    QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
    kindPicker()->setFocus(Qt::TabFocusReason);
    const QList<QWidget *> expected{field(u"Controller IP or hostname"_s),
                                    field(u"Port"_s),
                                    field(u"Username"_s),
                                    field(u"Password"_s),
                                    rememberSwitch(),
                                    connectButton()};
    for (QWidget *next : expected) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), next);
    }
    // Return on the focused button connects as well.
    QTest::keyClick(connectButton(), Qt::Key_Return);
    QVERIFY(state->isConnecting());
}

QTEST_MAIN(TestLoginView)
#include "tst_loginview.moc"
