// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Inventory.h"
#include "Models/FastJson.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QByteArray testData(const QString &name)
{
    QFile file(QStringLiteral(LANTERNFOLD_TEST_DATA_DIR) + u'/' + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot open test data %s", qPrintable(name));
    return file.readAll();
}

} // namespace

class TestInventoryDecoding final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void piecesAreJoinedWhereTheParserReadsThem();
    void keepsOnlyAccessPointsInOrder();
    void appliesDefaultsForMissingNameAndModel();
    void copiesStateAndIpAsReported();
    void emptyDataIsEmptyList();
    void decodingErrors_data();
    void decodingErrors();
    void wrongTypeInDroppedEntryStillFails();
    void integerStateAcceptsWholeDouble();
    void camerasMapEveryEntry();
    void cameraDecodingErrors_data();
    void cameraDecodingErrors();
    void emptyCameraArray();
    void sitesKeepNamesAndRoles();
    void siteDecodingErrors_data();
    void siteDecodingErrors();
    void simdjsonTakesRealAnswers();
    void simdjsonAgreesWithDocumentParser_data();
    void simdjsonAgreesWithDocumentParser();
    void camerasAgreeWithDocumentParser_data();
    void camerasAgreeWithDocumentParser();
    void paddedAndUnpaddedBuffersReadAlike();
    void reusedParserReadsEachAnswerAfresh();
    void parserReadsAgainAfterGivingBackItsMemory();
    void underflowCandidates_data();
    void underflowCandidates();
};

void TestInventoryDecoding::keepsOnlyAccessPointsInOrder()
{
    const auto decoded = decodeAccessPoints(testData(u"stat-device-mixed.json"_s));
    QVERIFY2(decoded.ok(), decoded.ok() ? "" : qPrintable(decoded.error().message));
    QStringList macs;
    for (const UnifiDevice &device : decoded.value())
        macs << device.mac;
    // Switches, the gateway, the console and the entry without a type are dropped; the smart plug
    // reports "uap" and therefore stays. Order is the controller's.
    QCOMPARE(macs, (QStringList{u"80:2a:a8:00:01:02"_s, u"78:8a:20:4d:5e:6f"_s, u"74:83:c2:01:02:03"_s,
                                u"fc:ec:da:10:20:30"_s, u"24:5a:4c:99:88:77"_s, u"AC:8B:A9:AB:CD:EF"_s,
                                u"d0:21:f9:00:00:01"_s}));
    for (const UnifiDevice &device : decoded.value())
        QCOMPARE(device.type, u"uap"_s);
}

void TestInventoryDecoding::appliesDefaultsForMissingNameAndModel()
{
    const auto decoded = decodeAccessPoints(testData(u"stat-device-mixed.json"_s));
    QVERIFY(decoded.ok());
    const UnifiDevice &unnamed = decoded.value().at(1);
    QCOMPARE(unnamed.name, u"78:8a:20:4d:5e:6f"_s);
    QCOMPARE(unnamed.model, u"U6LR"_s);
    const UnifiDevice &noModel = decoded.value().at(2);
    QCOMPARE(noModel.name, u"Garage AP"_s);
    QCOMPARE(noModel.model, u"Access Point"_s);
    QCOMPARE(decoded.value().at(3).model, u"UP1"_s);
}

void TestInventoryDecoding::copiesStateAndIpAsReported()
{
    const auto decoded = decodeAccessPoints(testData(u"stat-device-mixed.json"_s));
    QVERIFY(decoded.ok());
    const auto &aps = decoded.value();
    QCOMPARE(aps.at(0),
             (UnifiDevice{u"80:2a:a8:00:01:02"_s, u"Lobby AP"_s, u"U7PG2"_s, u"uap"_s, 1, u"192.168.1.21"_s}));
    QCOMPARE(aps.at(2).state, std::optional<qint64>(0));
    QVERIFY(!aps.at(2).ip.has_value());
    QCOMPARE(aps.at(4).state, std::optional<qint64>(4));
    QCOMPARE(aps.at(5).state, std::optional<qint64>(5));
    QCOMPARE(aps.at(5).mac, u"AC:8B:A9:AB:CD:EF"_s); // as the controller wrote it, not lower-cased
    QVERIFY(!aps.at(6).state.has_value());
    QVERIFY(!aps.at(6).isOnline());
}

void TestInventoryDecoding::emptyDataIsEmptyList()
{
    const auto decoded = decodeAccessPoints(R"({"data": []})");
    QVERIFY(decoded.ok());
    QVERIFY(decoded.value().isEmpty());
    const auto onlyNonAps = decodeAccessPoints(R"({"meta":{"rc":"ok"},"data":[{"mac":"a","type":"usw"}]})");
    QVERIFY(onlyNonAps.ok());
    QVERIFY(onlyNonAps.value().isEmpty());
}

void TestInventoryDecoding::decodingErrors_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("message");
    QTest::newRow("no data") << QByteArray(R"({"meta":{"rc":"ok"}})") << u"Missing key \"data\" at the top level."_s;
    QTest::newRow("data null") << QByteArray(R"({"data":null})")
                               << u"Expected array for \"data\" at the top level, found null."_s;
    QTest::newRow("data object") << QByteArray(R"({"data":{}})")
                                 << u"Expected array for \"data\" at the top level, found object."_s;
    QTest::newRow("top-level array") << QByteArray(R"([{"mac":"a"}])")
                                     << u"Expected object at the top level, found array."_s;
    QTest::newRow("entry not an object") << QByteArray(R"({"data":[{"mac":"a"},"b"]})")
                                         << u"Expected object at data[1], found string."_s;
    QTest::newRow("missing mac") << QByteArray(R"({"data":[{"mac":"a"},{"mac":"b"},{"mac":"c"},{"name":"x"}]})")
                                 << u"Missing key \"mac\" at data[3]."_s;
    QTest::newRow("mac null") << QByteArray(R"({"data":[{"mac":null}]})")
                              << u"Expected string for \"mac\" at data[0], found null."_s;
    QTest::newRow("state as text") << QByteArray(R"({"data":[{"mac":"a","type":"uap","state":"1"}]})")
                                   << u"Expected integer for \"state\" at data[0], found string."_s;
    QTest::newRow("state with fraction") << QByteArray(R"({"data":[{"mac":"a","type":"uap","state":1.5}]})")
                                         << u"Expected integer for \"state\" at data[0], found number."_s;
    QTest::newRow("name as number") << QByteArray(R"({"data":[{"mac":"a","type":"uap","name":7}]})")
                                    << u"Expected string for \"name\" at data[0], found integer."_s;
    QTest::newRow("ip as array") << QByteArray(R"({"data":[{"mac":"a","type":"uap","ip":[]}]})")
                                 << u"Expected string for \"ip\" at data[0], found array."_s;
    QTest::newRow("type as boolean") << QByteArray(R"({"data":[{"mac":"a","type":true}]})")
                                     << u"Expected string for \"type\" at data[0], found boolean."_s;
    QTest::newRow("empty body") << QByteArray() << u"The data is not valid JSON (illegal value at offset 0)."_s;
    QTest::newRow("truncated") << QByteArray(R"({"data":[)")
                               << u"The data is not valid JSON (unterminated array at offset 9)."_s;
    QTest::newRow("garbage after")
        << QByteArray(R"({"data":[]}x)")
        << u"The data is not valid JSON (garbage at the end of the document at offset 11)."_s;
    QTest::newRow("html error page") << QByteArray("<html><body>502 Bad Gateway</body></html>")
                                     << u"The data is not valid JSON (illegal value at offset 1)."_s;
    QTest::newRow("not utf-8") << QByteArray("\xff\xfe{")
                               << u"The data is not valid JSON (illegal value at offset 1)."_s;
}

void TestInventoryDecoding::decodingErrors()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, message);
    const auto decoded = decodeAccessPoints(body);
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, message);
}

void TestInventoryDecoding::wrongTypeInDroppedEntryStillFails()
{
    // A switch with a malformed state would be filtered out, but the whole answer is decoded first.
    QJsonObject document = QJsonDocument::fromJson(testData(u"stat-device-mixed.json"_s)).object();
    QJsonArray data = document.value(u"data"_s).toArray();
    QJsonObject theSwitch = data.at(1).toObject();
    QCOMPARE(theSwitch.value(u"type"_s).toString(), u"usw"_s);
    theSwitch.insert(u"state"_s, u"1"_s);
    data.replace(1, theSwitch);
    document.insert(u"data"_s, data);
    const auto decoded = decodeAccessPoints(QJsonDocument(document).toJson());
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, u"Expected integer for \"state\" at data[1], found string."_s);
}

void TestInventoryDecoding::integerStateAcceptsWholeDouble()
{
    const auto decoded = decodeAccessPoints(R"({"data":[{"mac":"a","type":"uap","state":1.0,"name":null}]})");
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value().size(), 1);
    QCOMPARE(decoded.value().first().state, std::optional<qint64>(1));
    QCOMPARE(decoded.value().first().name, u"a"_s); // null optional counts as absent
}

void TestInventoryDecoding::camerasMapEveryEntry()
{
    const auto decoded = decodeCameras(testData(u"protect-cameras.json"_s));
    QVERIFY2(decoded.ok(), decoded.ok() ? "" : qPrintable(decoded.error().message));
    const auto &cameras = decoded.value();
    QCOMPARE(cameras.size(), 4);
    QCOMPARE(cameras.at(0),
             (ProtectCamera{u"0de062b4f6922d489d3b312d"_s, u"Front Door"_s, u"UVC G4 Doorbell"_s, u"CONNECTED"_s}));
    QVERIFY(cameras.at(0).isOnline());
    QCOMPARE(cameras.at(1).state, std::optional<QString>(u"DISCONNECTED"_s));
    QVERIFY(!cameras.at(1).isOnline());
    QCOMPARE(cameras.at(2),
             (ProtectCamera{u"61b3f5c9005aa703e7000441"_s, u"61b3f5c9005aa703e7000441"_s, u"camera"_s, std::nullopt}));
    QVERIFY(!cameras.at(3).isOnline()); // "connected" in lower case is not online
}

void TestInventoryDecoding::cameraDecodingErrors_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("message");
    QTest::newRow("enveloped") << QByteArray(R"({"data":[]})") << u"Expected array at the top level, found object."_s;
    QTest::newRow("missing id") << QByteArray(R"([{"id":"a"},{"id":"b"},{"name":"c"}])")
                                << u"Missing key \"id\" at [2]."_s;
    QTest::newRow("id as number") << QByteArray(R"([{"id":7}])")
                                  << u"Expected string for \"id\" at [0], found integer."_s;
    QTest::newRow("state as boolean") << QByteArray(R"([{"id":"a","state":true}])")
                                      << u"Expected string for \"state\" at [0], found boolean."_s;
    QTest::newRow("element null") << QByteArray(R"([null])") << u"Expected object at [0], found null."_s;
    QTest::newRow("malformed") << QByteArray(R"([{"id":"a"})")
                               << u"The data is not valid JSON (unterminated array at offset 11)."_s;
}

void TestInventoryDecoding::cameraDecodingErrors()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, message);
    const auto decoded = decodeCameras(body);
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, message);
}

void TestInventoryDecoding::emptyCameraArray()
{
    const auto decoded = decodeCameras("[]");
    QVERIFY(decoded.ok());
    QVERIFY(decoded.value().isEmpty());
}

void TestInventoryDecoding::simdjsonTakesRealAnswers()
{
    // simdjson must decide real answers itself, not hand them to Qt's parser.
    const QByteArray devices = testData(u"stat-device-mixed.json"_s);
    const auto fastDevices = decodeAccessPointsFast(devices);
    QVERIFY(fastDevices.has_value());
    QCOMPARE(*fastDevices, decodeAccessPointsFromDocument(devices));
    QCOMPARE(fastDevices->value().size(), 7);
    const QByteArray cameras = testData(u"protect-cameras.json"_s);
    const auto fastCameras = decodeCamerasFast(cameras);
    QVERIFY(fastCameras.has_value());
    QCOMPARE(*fastCameras, decodeCamerasFromDocument(cameras));
    QCOMPARE(fastCameras->value().size(), 4);
}

void TestInventoryDecoding::simdjsonAgreesWithDocumentParser_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("fast");
    auto row = [](const char *name, const QByteArray &body, bool fast) { QTest::newRow(name) << body << fast; };
    row("escapes", R"({"data":[{"mac":"a\"b\\c\/d\n\t","type":"uap","name":"\u00e9\ud83d\ude00"}]})", true);
    row("raw utf-8",
        "{\"data\":[{\"mac\":\"m\",\"type\":\"uap\",\"name\":\"K\xc3\xbc"
        "che \xe2\x80\x94 \xf0\x9f\x93\xb6\"}]}",
        true);
    row("whitespace everywhere", " \r\n\t{ \"data\" : [ { \"mac\" : \"m\" , \"type\" : \"uap\" } ] } \n", true);
    row("nested values skipped",
        R"({"meta":{"rc":"ok","x":[1,2.5,-3,true,false,null,{"a":[]}]},"data":[{"mac":"m","type":"uap","port_table":[{"mac":"n","state":"x"}],"state":4}]})",
        true);
    row("escaped key", R"({"d\u0061ta":[{"m\u0061c":"a","type":"uap"}]})", true);
    // Of duplicate keys the last counts, in both parsers.
    row("duplicate kept key", R"({"data":[{"mac":"a","mac":"b","type":"uap"}]})", true);
    row("duplicate data", R"({"data":[],"data":[{"mac":"a","type":"uap"}]})", true);
    row("duplicate data, bad first", R"({"data":7,"data":[{"mac":"a","type":"uap"}]})", true);
    row("state with exponent", R"({"data":[{"mac":"a","type":"uap","state":1e0}]})", true);
    row("state with fraction", R"({"data":[{"mac":"a","type":"uap","state":1.0}]})", true);
    row("state negative zero", R"({"data":[{"mac":"a","type":"uap","state":-0.0}]})", true);
    row("state beyond signed range", R"({"data":[{"mac":"a","type":"uap","state":18446744073709551615}]})", true);
    row("state at signed limit", R"({"data":[{"mac":"a","type":"uap","state":-9223372036854775808}]})", true);
    row("state 2^63 as double", R"({"data":[{"mac":"a","type":"uap","state":9.223372036854775808e18}]})", true);
    row("small exponent", R"({"data":[{"mac":"a","type":"uap","x":1.0E-4,"y":0.0}]})", true);
    row("exponent in a string", R"({"data":[{"mac":"a","type":"uap","x":"3e-100","y":0.0}]})", false);
    row("escaped nul", R"({"data":[{"mac":"a\u0000","type":"uap"}]})", true);
    row("noncharacter", R"({"data":[{"mac":"a\ufffe","type":"uap"}]})", true);
    // simdjson refuses these, and Qt's parser decides, as it always has: some it even accepts.
    row("huge state", R"({"data":[{"mac":"a","type":"uap","state":99999999999999999999}]})", false);
    row("lone surrogate", R"({"data":[{"mac":"a\ud800","type":"uap"}]})", false);
    row("unknown escape", R"({"data":[{"mac":"a\x","type":"uap"}]})", false);
    row("control character", "{\"data\":[{\"mac\":\"a\x01\",\"type\":\"uap\"}]}", false);
    row("byte order mark", "\xef\xbb\xbf{\"data\":[{\"mac\":\"a\",\"type\":\"uap\"}]}", false);
    row("fraction without digits", R"({"data":[{"mac":"a","type":"uap","x":1.}]})", false);
    row("overlong utf-8", "{\"data\":[{\"mac\":\"\xc0\xaf\",\"type\":\"uap\"}]}", false);
    row("leading zero", R"({"data":[{"mac":"a","type":"uap","state":01}]})", false);
    row("trailing comma", R"({"data":[{"mac":"a","type":"uap"},]})", false);
    row("truncated", R"({"data":[{"mac":"a","type":"uap"})", false);
    row("garbage after", R"({"data":[]} x)", false);
    row("top-level scalar", "7", false);
    // Qt refuses a number that rounds to zero; simdjson would read 0, so Qt decides these.
    row("underflow in a skipped value", R"({"meta":{"x":1e-400},"data":[]})", false);
    row("underflow by zeros", "{\"meta\":{\"x\":0." + QByteArray(330, '0') + "1},\"data\":[]}", false);
    row("zero with large exponent", R"({"meta":{"x":0e-400},"data":[]})", false);
    row("overflow", R"({"meta":{"x":1e400},"data":[]})", false);
    row("nesting at Qt's limit", "{\"meta\":" + QByteArray(1023, '[') + QByteArray(1023, ']') + ",\"data\":[]}", true);
    row("nesting past Qt's limit", "{\"meta\":" + QByteArray(1024, '[') + QByteArray(1024, ']') + ",\"data\":[]}",
        false);
    // The decoding errors come from simdjson's side with the same words.
    row("wrong type", R"({"data":[{"mac":"a","type":"uap","name":7}]})", true);
    row("wrong type, number", R"({"data":[{"mac":"a","type":"uap","name":7.5}]})", true);
    row("wrong type, whole double", R"({"data":[{"mac":"a","type":"uap","name":7.0}]})", true);
    row("missing data", R"({"meta":{}})", true);
    row("bare array", R"([{"mac":"a"}])", true);
    row("element not an object", R"({"data":[{"mac":"a"},[]]})", true);
    row("empty data", R"({"data":[]})", true);
}

void TestInventoryDecoding::simdjsonAgreesWithDocumentParser()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, fast);
    const auto decided = decodeAccessPointsFast(body);
    const auto decoded = decodeAccessPoints(body);
    const auto reference = decodeAccessPointsFromDocument(body);
    // Whichever parser decides, the result equals Qt's document parser's, errors included.
    QCOMPARE(decided.has_value(), fast);
    if (decided)
        QCOMPARE(*decided, reference);
    QCOMPARE(decoded, reference);
}

void TestInventoryDecoding::camerasAgreeWithDocumentParser_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("fast");
    QTest::newRow("escaped id") << QByteArray(R"([{"id":"\u0061b","name":"x\ny"}])") << true;
    QTest::newRow("duplicate id") << QByteArray(R"([{"id":"a","id":"b"}])") << true;
    QTest::newRow("null name") << QByteArray(R"([{"id":"a","name":null}])") << true;
    QTest::newRow("state as number") << QByteArray(R"([{"id":"a","state":1}])") << true;
    QTest::newRow("element scalar") << QByteArray(R"([{"id":"a"},1.5])") << true;
    QTest::newRow("object at top") << QByteArray(R"({"id":"a"})") << true;
    QTest::newRow("top-level string") << QByteArray(R"("cameras")") << false;
    QTest::newRow("tab in string") << QByteArray("[{\"id\":\"a\tb\"}]") << false;
    QTest::newRow("not utf-8") << QByteArray("[{\"id\":\"\xff\"}]") << false;
}

void TestInventoryDecoding::camerasAgreeWithDocumentParser()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, fast);
    const auto decided = decodeCamerasFast(body);
    QCOMPARE(decided.has_value(), fast);
    if (decided)
        QCOMPARE(*decided, decodeCamerasFromDocument(body));
    QCOMPARE(decodeCameras(body), decodeCamerasFromDocument(body));
}

void TestInventoryDecoding::paddedAndUnpaddedBuffersReadAlike()
{
    // simdjson reads a little past the end: a buffer with room after its data is read in place,
    // any other is copied first. Both must give the same list, also from borrowed bytes.
    const QByteArray answer = testData(u"stat-device-mixed.json"_s);
    QByteArray roomy;
    roomy.reserve(answer.size() + 4096);
    roomy.append(answer);
    QByteArray exact(answer.constData(), answer.size());
    exact.squeeze();
    const QByteArray borrowed = QByteArray::fromRawData(answer.constData(), answer.size());
    QByteArray shifted = "xxxx" + answer;
    shifted.remove(0, 4);
    const auto reference = decodeAccessPointsFromDocument(answer);
    QVERIFY(reference.ok());
    for (const QByteArray &body : {roomy, exact, borrowed, shifted}) {
        const auto decided = decodeAccessPointsFast(body);
        QVERIFY(decided.has_value());
        QCOMPARE(*decided, reference);
    }
}

void TestInventoryDecoding::reusedParserReadsEachAnswerAfresh()
{
    // One parser serves every call on a thread: a small answer after a large one must not see
    // anything of the large one, and a failed parse leaves nothing behind.
    const QByteArray large = testData(u"stat-device-mixed.json"_s);
    const QByteArray cameras = testData(u"protect-cameras.json"_s);
    QCOMPARE(decodeAccessPoints(large).value().size(), 7);
    QCOMPARE(decodeAccessPoints(R"({"data":[{"mac":"z","type":"uap"}]})").value().size(), 1);
    QVERIFY(!decodeAccessPoints(R"({"data":[{"mac":"z","type":"uap"})").ok());
    QCOMPARE(decodeCameras(cameras).value().size(), 4);
    QCOMPARE(decodeAccessPoints(R"({"data":[]})").value().size(), 0);
    QCOMPARE(decodeAccessPoints(large), decodeAccessPointsFromDocument(large));
}

void TestInventoryDecoding::parserReadsAgainAfterGivingBackItsMemory()
{
    const QByteArray large = testData(u"stat-device-mixed.json"_s);
    const auto before = decodeAccessPoints(large);
    QVERIFY(before.ok());
    json::releaseParserMemory();
    json::releaseParserMemory(); // twice in a row, as two idle moments may come without an answer
    QCOMPARE(decodeAccessPoints(large), before);
    QVERIFY(!decodeAccessPoints(R"({"data":[)").ok());
}

void TestInventoryDecoding::underflowCandidates_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("candidate");
    const QByteArray filler(100, 'x');
    QTest::newRow("no numbers") << QByteArray(R"({"a":"b"})") << false;
    QTest::newRow("small exponent") << QByteArray("[1e-99,2E-099,3e-0000099]") << false;
    QTest::newRow("exponent 100") << QByteArray("[1e-100]") << true;
    QTest::newRow("exponent with leading zeros") << QByteArray("[1e-000400]") << true;
    QTest::newRow("upper-case E") << QByteArray("[1.5E-324]") << true;
    QTest::newRow("positive exponent") << QByteArray("[1e+400]") << false;
    QTest::newRow("no digit before e") << QByteArray(R"(["type-100"])") << false;
    QTest::newRow("in a string after a digit") << QByteArray(R"(["3e-100"])") << true;
    // Runs are counted in whole blocks, so somewhat shorter ones may count too; 140 never does.
    QTest::newRow("140 zeros") << QByteArray("[0." + QByteArray(140, '0') + "1]") << false;
    QTest::newRow("200 zeros") << QByteArray("[0." + QByteArray(200, '0') + "1]") << true;
    QTest::newRow("200 zeros at the very end") << QByteArray(filler + QByteArray(200, '0')) << true;
    QTest::newRow("200 zeros at the very start") << QByteArray(QByteArray(200, '0') + filler) << true;
    // Every alignment of a run and of an exponent against the blocks the search reads.
    for (int offset = 0; offset < 70; ++offset) {
        const QByteArray pad(offset, ' ');
        QTest::addRow("run of 200 at +%d", offset) << QByteArray(pad + QByteArray(200, '0') + pad) << true;
        QTest::addRow("run of 140 at +%d", offset) << QByteArray(pad + QByteArray(140, '0') + pad) << false;
        QTest::addRow("exponent at +%d", offset) << QByteArray(filler + pad + "7e-100" + pad) << true;
        QTest::addRow("exponent near the end at +%d", offset) << QByteArray(pad + "7e-100") << true;
    }
}

void TestInventoryDecoding::underflowCandidates()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, candidate);
    QCOMPARE(json::mayUnderflow(std::string_view(bytes.constData(), size_t(bytes.size()))), candidate);
}

void TestInventoryDecoding::piecesAreJoinedWhereTheParserReadsThem()
{
    // An answer arrives in pieces; joined, it decodes as the whole does, in a buffer with the
    // parser's padding after the data that the next answer of that size reuses.
    const QByteArray whole = R"({"meta":{"rc":"ok"},"data":[{"mac":"aa:bb:cc:dd:ee:ff","type":"uap","name":"Hall"}]})";
    const QList<QByteArray> pieces{whole.left(7), whole.mid(7, 30), whole.mid(37)};
    const QByteArray &joined = json::joinedForParsing(pieces);
    QCOMPARE(joined, whole);
    QVERIFY(joined.capacity() >= joined.size() + qsizetype(simdjson::SIMDJSON_PADDING));
    QCOMPARE(decodeAccessPoints(joined).value(), decodeAccessPoints(whole).value());
    const char *room = joined.constData();
    const QByteArray &again = json::joinedForParsing({whole.left(40), whole.mid(40)});
    QCOMPARE(again, whole);
    QCOMPARE(again.constData(), room);
    QCOMPARE(json::joinedForParsing({}), QByteArray());
    json::releaseParserMemory();
}

void TestInventoryDecoding::sitesKeepNamesAndRoles()
{
    const auto sites = decodeSites(QByteArrayLiteral(
        R"({"meta":{"rc":"ok"},"data":[{"_id":"a","name":"default","desc":"Default","role":"admin","attr_hidden_id":"default"},)"
        R"({"_id":"b","name":"ohmt4ch6","desc":"Lake House","role":"readonly"},)"
        R"({"_id":"c","name":"super","desc":"Super","attr_hidden":true},)"
        R"({"_id":"d","name":"x9","role":null}]})"));
    QVERIFY(sites.ok());
    QCOMPARE(sites.value(), (QList<ControllerSite>{{u"default"_s, u"Default"_s, u"admin"_s},
                                                   {u"ohmt4ch6"_s, u"Lake House"_s, u"readonly"_s},
                                                   {u"x9"_s, QString(), QString()}}));
    // A site without a description is known by its short id.
    QCOMPARE(sites.value().at(2).displayName(), u"x9"_s);
    QCOMPARE(findSite(sites.value(), u"ohmt4ch6"_s)->desc, u"Lake House"_s);
    QVERIFY(!findSite(sites.value(), u"OHMT4CH6"_s)); // case-sensitive
    QVERIFY(!findSite(sites.value(), u"super"_s));
}

void TestInventoryDecoding::siteDecodingErrors_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("not JSON") << QByteArray("<html>");
    QTest::newRow("no data") << QByteArray(R"({"meta":{"rc":"ok"}})");
    QTest::newRow("data not an array") << QByteArray(R"({"data":{}})");
    QTest::newRow("entry not an object") << QByteArray(R"({"data":[1]})");
    QTest::newRow("no name") << QByteArray(R"({"data":[{"desc":"Default"}]})");
    QTest::newRow("empty name") << QByteArray(R"({"data":[{"name":""}]})");
    QTest::newRow("numeric desc") << QByteArray(R"({"data":[{"name":"default","desc":7}]})");
}

void TestInventoryDecoding::siteDecodingErrors()
{
    QFETCH(QByteArray, body);
    QVERIFY(!decodeSites(body).ok());
}

QTEST_GUILESS_MAIN(TestInventoryDecoding)

#include "tst_inventorydecoding.moc"
