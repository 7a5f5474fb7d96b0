// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ScheduledJob.h"

#include "Models/JsonDate.h"

#include <QJsonArray>

#include <algorithm>

namespace lanternfold {

using namespace Qt::StringLiterals;

QString uuidText(const QUuid &uuid)
{
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> uuidFromText(QStringView text)
{
    // QUuid::fromString also takes braces and answers the nil UUID for garbage, which would make
    // "00000000-0000-0000-0000-000000000000" indistinguishable from an error; check the form first.
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool hex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (dash ? c != u'-' : !hex)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

std::optional<QJsonObject> ScheduledJob::toJson() const
{
    const auto ruleJson = rule.toJson();
    if (!ruleJson)
        return std::nullopt;
    QJsonArray targetsJson;
    for (const RestartTarget &target : targets)
        targetsJson.append(target.toJson());
    QJsonObject object{
        {u"id"_s, uuidText(id)}, {u"name"_s, name},           {u"targets"_s, targetsJson},
        {u"rule"_s, *ruleJson},  {u"isEnabled"_s, isEnabled}, {u"staggerSeconds"_s, staggerSeconds},
    };
    // Absent dates leave their keys out (never null).
    for (const auto &[key, date] : {std::pair{u"lastRunAt"_s, &lastRunAt}, std::pair{u"nextRunAt"_s, &nextRunAt}}) {
        if (!*date)
            continue;
        const auto text = json::formatDate(**date);
        if (!text)
            return std::nullopt;
        object.insert(key, *text);
    }
    if (waitForOnline) {
        object.insert(u"waitForOnlineMinutes"_s, waitForOnline->minutes);
        object.insert(u"whenNotBack"_s,
                      waitForOnline->whenNotBack == WaitForOnline::WhenNotBack::stopTheJob ? u"stop"_s : u"continue"_s);
    }
    if (site != defaultSiteName)
        object.insert(u"site"_s, site);
    if (runInProgress) {
        const auto occurrence = json::formatDate(runInProgress->occurrence);
        if (!occurrence)
            return std::nullopt;
        object.insert(u"runInProgress"_s,
                      QJsonObject{{u"occurrence"_s, *occurrence},
                                  {u"restarted"_s, QJsonArray::fromStringList(runInProgress->restarted)}});
    }
    return object;
}

Decoded<ScheduledJob> ScheduledJob::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(idText, reader.string(u"id"_s));
    const auto id = uuidFromText(idText);
    if (!id) {
        return DecodeError{u"Invalid UUID \""_s + idText + u"\" for \"id\" at "_s + json::describePath(path) + u'.'};
    }
    LF_TRY_DECODE(name, reader.string(u"name"_s));
    LF_TRY_DECODE(targetsJson, reader.array(u"targets"_s));
    const QString targetsPath = json::childPath(path, u"targets"_s);
    QList<RestartTarget> targets;
    targets.reserve(targetsJson.size());
    for (qsizetype i = 0; i < targetsJson.size(); ++i) {
        LF_TRY_DECODE(target, RestartTarget::fromJson(targetsJson.at(i), json::elementPath(targetsPath, i)));
        targets.append(std::move(target));
    }
    LF_TRY_DECODE(ruleJson, reader.value(u"rule"_s));
    LF_TRY_DECODE(rule, RecurrenceRule::fromJson(ruleJson, json::childPath(path, u"rule"_s)));
    LF_TRY_DECODE(isEnabled, reader.boolean(u"isEnabled"_s));
    LF_TRY_DECODE(lastRunAt, json::readOptionalDate(reader, u"lastRunAt"_s));
    LF_TRY_DECODE(nextRunAt, json::readOptionalDate(reader, u"nextRunAt"_s));
    LF_TRY_DECODE(staggerSeconds, reader.integer(u"staggerSeconds"_s));
    ScheduledJob job{*id, name, std::move(targets), std::move(rule), isEnabled, lastRunAt, nextRunAt, staggerSeconds};
    LF_TRY_DECODE(waitMinutes, reader.optionalInteger(u"waitForOnlineMinutes"_s));
    if (waitMinutes) {
        WaitForOnline wait;
        // Held to what the editor offers; anything but "continue" stops the job, the safe choice.
        wait.minutes = std::clamp(*waitMinutes, waitMinutesMinimum, waitMinutesMaximum);
        if (object.value(u"whenNotBack"_s).toString() == u"continue"_s)
            wait.whenNotBack = WaitForOnline::WhenNotBack::continueWithNextDevice;
        job.waitForOnline = wait;
    }
    LF_TRY_DECODE(site, reader.optionalString(u"site"_s));
    if (site && !site->isEmpty())
        job.site = *site;
    const QJsonValue progress = object.value(u"runInProgress"_s);
    if (!progress.isUndefined() && !progress.isNull()) {
        const QString progressPath = json::childPath(path, u"runInProgress"_s);
        LF_TRY_DECODE(progressReader, json::readObject(progress, progressPath));
        LF_TRY_DECODE(occurrence, json::readOptionalDate(progressReader, u"occurrence"_s));
        if (!occurrence)
            return DecodeError{u"Missing \"occurrence\" at "_s + json::describePath(progressPath) + u'.'};
        LF_TRY_DECODE(restartedJson, progressReader.array(u"restarted"_s));
        RunInProgress run{*occurrence, {}};
        for (qsizetype i = 0; i < restartedJson.size(); ++i) {
            if (!restartedJson.at(i).isString())
                return DecodeError{
                    u"Expected a string at "_s +
                    json::describePath(json::elementPath(json::childPath(progressPath, u"restarted"_s), i)) + u'.'};
            run.restarted.append(restartedJson.at(i).toString());
        }
        job.runInProgress = std::move(run);
    }
    return job;
}

} // namespace lanternfold
