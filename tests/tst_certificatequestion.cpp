// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TestSupport.h"

#include "Views/CertificateQuestion.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {
const QString host = u"192.168.1.1"_s;
const QString fingerprint = u"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"_s;
} // namespace

/// The certificate question as the person sees it: a warning box over the main window, with the
/// texts, the buttons and their roles, answered without a nested event loop.
class TestCertificateQuestion final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void showsTheTextsAndButtons();
    void trustAnswersYes();
    void cancelAndEscapeAnswerNo_data();
    void cancelAndEscapeAnswerNo();
    void windowGoneWhileAskingAnswersNo();
    void questionGoneWhileAskingAnswersNo();

private:
    [[nodiscard]] QPushButton *button(const QString &text) const;

    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<CertificateQuestion> m_question;
};

void TestCertificateQuestion::init()
{
    m_window = std::make_unique<QWidget>();
    m_window->resize(620, 560);
    m_window->show();
    m_question = std::make_unique<CertificateQuestion>(m_window.get());
}

void TestCertificateQuestion::cleanup()
{
    m_question.reset();
    m_window.reset();
}

QPushButton *TestCertificateQuestion::button(const QString &text) const
{
    QMessageBox *box = m_question->openBox();
    if (!box)
        return nullptr;
    for (QAbstractButton *candidate : box->buttons()) {
        if (candidate->text() == text)
            return qobject_cast<QPushButton *>(candidate);
    }
    return nullptr;
}

void TestCertificateQuestion::showsTheTextsAndButtons()
{
    auto answer = start(m_question->approve(host, fingerprint));
    QMessageBox *box = m_question->openBox();
    QVERIFY(box);
    QVERIFY(box->isVisible());
    QCOMPARE(box->parentWidget(), m_window.get());
    QCOMPARE(box->windowModality(), Qt::WindowModal); // open(), not exec()
    QCOMPARE(box->icon(), QMessageBox::Warning);
    QCOMPARE(box->text(), u"Verify Controller Certificate"_s);
    QVERIFY(box->informativeText().startsWith(u"Lanternfold hasn't connected to 192.168.1.1 before.\n\n"_s));
    QVERIFY(box->informativeText().contains(u"\n0123 4567 89ab cdef 0123 4567 89ab cdef 0123 4567 89ab cdef "
                                            u"0123 4567 89ab cdef\n"_s));
    QCOMPARE(box->buttons().size(), 2);
    QPushButton *trust = button(u"Trust && Continue"_s); // shown as "Trust & Continue"
    QPushButton *cancel = button(u"Cancel"_s);
    QVERIFY(trust && cancel);
    QCOMPARE(box->buttonRole(trust), QMessageBox::AcceptRole);
    QCOMPARE(box->buttonRole(cancel), QMessageBox::RejectRole);
    QCOMPARE(box->defaultButton(), trust);
    QCOMPARE(box->escapeButton(), cancel);
    QVERIFY(!answer->has_value()); // waits for the person
    cancel->click();
    QTRY_VERIFY(answer->has_value());
}

void TestCertificateQuestion::trustAnswersYes()
{
    auto answer = start(m_question->approve(host, fingerprint));
    QPushButton *trust = button(u"Trust && Continue"_s);
    QVERIFY(trust);
    QTest::mouseClick(trust, Qt::LeftButton);
    QTRY_VERIFY(answer->has_value());
    QVERIFY(**answer);
    QTRY_VERIFY(!m_question->openBox());
}

void TestCertificateQuestion::cancelAndEscapeAnswerNo_data()
{
    QTest::addColumn<bool>("escape");
    QTest::newRow("Cancel") << false;
    QTest::newRow("Escape") << true;
}

void TestCertificateQuestion::cancelAndEscapeAnswerNo()
{
    QFETCH(bool, escape);
    auto answer = start(m_question->approve(host, fingerprint));
    QMessageBox *box = m_question->openBox();
    QVERIFY(box);
    if (escape)
        QTest::keyClick(box, Qt::Key_Escape);
    else
        QTest::mouseClick(button(u"Cancel"_s), Qt::LeftButton);
    QTRY_VERIFY(answer->has_value());
    QVERIFY(!**answer);
}

void TestCertificateQuestion::windowGoneWhileAskingAnswersNo()
{
    auto answer = start(m_question->approve(host, fingerprint));
    QVERIFY(m_question->openBox());
    m_window.reset(); // the box goes with its window
    QTRY_VERIFY(answer->has_value());
    QVERIFY(!**answer);
}

void TestCertificateQuestion::questionGoneWhileAskingAnswersNo()
{
    auto answer = start(m_question->approve(host, fingerprint));
    const QPointer<QMessageBox> box = m_question->openBox();
    QVERIFY(box);
    m_question.reset();
    QVERIFY(box); // still on screen: the person may still answer
    QTest::mouseClick(box->escapeButton(), Qt::LeftButton);
    QTRY_VERIFY(answer->has_value());
    QVERIFY(!**answer);
    QTRY_VERIFY(!box);
}

QTEST_MAIN(TestCertificateQuestion)
#include "tst_certificatequestion.moc"
