<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>AutostartLoginItem</name>
    <message>
        <source>Lanternfold cannot find its own program file, so it cannot be started at login.</source>
        <translation>Lanternfold findet seine eigene Programmdatei nicht und kann daher nicht bei der Anmeldung gestartet werden.</translation>
    </message>
</context>
<context>
    <name>DeviceReading</name>
    <message>
        <source>The controller&apos;s answer for %1 is not a device list.</source>
        <extracomment>%1 is the access point&apos;s MAC address.</extracomment>
        <translation>Die Antwort des Controllers für %1 ist keine Geräteliste.</translation>
    </message>
    <message>
        <source>The controller answered %1 records for %2, not its own.</source>
        <extracomment>%1 is a number of device records, %2 the MAC address of the access point asked about.</extracomment>
        <translation>Der Controller lieferte für %2 %1 Datensätze statt des eigenen Datensatzes.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer for camera %1 is not that camera.</source>
        <extracomment>%1 is the camera&apos;s id.</extracomment>
        <translation>Die Antwort des Controllers für Kamera %1 betrifft nicht diese Kamera.</translation>
    </message>
</context>
<context>
    <name>HttpAnswerReader</name>
    <message>
        <source>The controller&apos;s answer was not an HTTP response.</source>
        <translation>Die Antwort des Controllers war keine HTTP-Antwort.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer is too large.</source>
        <translation>Die Antwort des Controllers ist zu groß.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer came in an encoding Lanternfold does not read (%1).</source>
        <extracomment>%1 is the encoding&apos;s name as the controller gave it, such as &quot;gzip&quot;.</extracomment>
        <translation>Die Antwort des Controllers verwendet eine Kodierung, die Lanternfold nicht lesen kann (%1).</translation>
    </message>
    <message>
        <source>The controller closed the connection before its answer was complete.</source>
        <translation>Der Controller hat die Verbindung geschlossen, bevor seine Antwort vollständig war.</translation>
    </message>
    <message>
        <source>The controller closed the connection without answering.</source>
        <translation>Der Controller hat die Verbindung ohne Antwort geschlossen.</translation>
    </message>
</context>
<context>
    <name>Inventory</name>
    <message>
        <source>Access Point</source>
        <extracomment>Shown in the device list in place of the model of an access point whose controller names none.</extracomment>
        <translation>Access Point</translation>
    </message>
    <message>
        <source>camera</source>
        <extracomment>Shown in the device list in place of the type of a camera whose controller names none.</extracomment>
        <translation>Kamera</translation>
    </message>
</context>
<context>
    <name>RecurrenceRule</name>
    <message>
        <source>Once, on %1</source>
        <extracomment>A schedule that runs once; %1 is its date and time, already in the locale&apos;s format.</extracomment>
        <translation>Einmalig, am %1</translation>
    </message>
    <message>
        <source>Daily at %1:%2</source>
        <extracomment>A schedule that runs every day; %1 is the hour (00-23), %2 the minute, both of two digits.</extracomment>
        <translation>Täglich um %1:%2</translation>
    </message>
    <message>
        <source>Weekly on %1 at %2:%3</source>
        <extracomment>A schedule that runs on some weekdays; %1 lists the days (abbreviated, comma-separated), %2 is the hour (00-23), %3 the minute, both of two digits.</extracomment>
        <translation>Wöchentlich am %1 um %2:%3</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>A schedule that runs every hour; %1 is 1.</extracomment>
        <translation>Alle %1 Stunde</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>A schedule that runs every few hours; %1 is their number.</extracomment>
        <translation>Alle %1 Stunden</translation>
    </message>
</context>
<context>
    <name>UnifiAPIError</name>
    <message>
        <source>The connection to the controller was closed.</source>
        <translation>Die Verbindung zum Controller wurde geschlossen.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate changed unexpectedly.
Pinned: %1
Presented: %2

If you recently reset or re-adopted the controller, remove the pin in Settings and reconnect.</source>
        <extracomment>%1 is the key&apos;s fingerprint (SHA-256) that was pinned, %2 the one the controller shows now.</extracomment>
        <translation>Das Zertifikat des Controllers hat sich unerwartet geändert.
Hinterlegt: %1
Vorgelegt: %2

Wenn Sie den Controller kürzlich zurückgesetzt oder neu adoptiert haben, entfernen Sie das hinterlegte Zertifikat in den Einstellungen und verbinden Sie sich erneut.</translation>
    </message>
    <message>
        <source>Controller returned HTTP %1: %2</source>
        <extracomment>%1 is the HTTP status code, %2 the start of the controller&apos;s answer.</extracomment>
        <translation>Controller antwortete mit HTTP %1: %2</translation>
    </message>
    <message>
        <source>Failed to parse controller response: %1</source>
        <extracomment>%1 says what was wrong with the answer (often in English).</extracomment>
        <translation>Antwort des Controllers konnte nicht gelesen werden: %1</translation>
    </message>
    <message>
        <source>Invalid username or password.</source>
        <translation>Ungültiger Benutzername oder ungültiges Passwort.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate was not approved.</source>
        <translation>Das Zertifikat des Controllers wurde nicht bestätigt.</translation>
    </message>
    <message>
        <source>Not logged in.</source>
        <translation>Nicht angemeldet.</translation>
    </message>
    <message>
        <source>This account uses two-factor authentication. Use a local controller account without it.</source>
        <translation>Dieses Konto verwendet Zwei-Faktor-Authentifizierung. Verwenden Sie ein lokales Controller-Konto ohne diese.</translation>
    </message>
    <message>
        <source>The controller has no site &apos;%1&apos; for this account. Choose a site in Settings.</source>
        <extracomment>%1 is the site&apos;s short id.</extracomment>
        <translation>Der Controller hat für dieses Konto keine Site &apos;%1&apos;. Wählen Sie in den Einstellungen eine Site.</translation>
    </message>
    <message>
        <source>This account may not restart devices on site &apos;%1&apos;. Use an administrator account.</source>
        <extracomment>%1 is the site&apos;s name.</extracomment>
        <translation>Dieses Konto darf auf der Site &apos;%1&apos; keine Geräte neu starten. Verwenden Sie ein Administratorkonto.</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppDelegate</name>
    <message>
        <source>Open Lanternfold</source>
        <translation>Lanternfold öffnen</translation>
    </message>
    <message>
        <source>Quit Lanternfold</source>
        <translation>Lanternfold beenden</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppState</name>
    <message>
        <source>Connect failed: %1</source>
        <extracomment>%1 says why, as the controller or the connection told it.</extracomment>
        <translation>Verbindung fehlgeschlagen: %1</translation>
    </message>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold benötigt das Controller-Passwort erneut: Das gespeicherte wurde abgelehnt.</translation>
    </message>
    <message>
        <source>Connected to %1</source>
        <extracomment>%1 is the controller&apos;s host name or address.</extracomment>
        <translation>Verbunden mit %1</translation>
    </message>
    <message>
        <source>Could not read the controller&apos;s sites: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>Sites des Controllers konnten nicht gelesen werden: %1</translation>
    </message>
    <message>
        <source>Site &apos;%1&apos; chosen: the controller has no site &apos;%2&apos; for this account.</source>
        <extracomment>%1 is the site taken instead, %2 the site that was asked for.</extracomment>
        <translation>Site &apos;%1&apos; gewählt: Der Controller hat für dieses Konto keine Site &apos;%2&apos;.</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <extracomment>Activity log line: the person disconnected from the controller.</extracomment>
        <translation>Verbindung getrennt</translation>
    </message>
    <message>
        <source>Device refresh failed: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>Aktualisieren der Geräte fehlgeschlagen: %1</translation>
    </message>
    <message>
        <source>Restarted %1</source>
        <extracomment>Activity log line; %1 is the device&apos;s name.</extracomment>
        <translation>%1 neu gestartet</translation>
    </message>
    <message>
        <source>Restart failed for %1: %2</source>
        <extracomment>%1 is the device&apos;s name, %2 says why.</extracomment>
        <translation>Neustart von %1 fehlgeschlagen: %2</translation>
    </message>
    <message>
        <source>%1 back online after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it took (such as &quot;1 min 48 s&quot;).</extracomment>
        <translation>%1 nach %2 wieder online</translation>
    </message>
    <message>
        <source>%1 not back after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it was waited for (such as &quot;10 min&quot;).</extracomment>
        <translation>%1 nach %2 nicht wieder online</translation>
    </message>
    <message>
        <source>%1 s</source>
        <extracomment>A duration in seconds, abbreviated.</extracomment>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 min</source>
        <extracomment>A duration in minutes, abbreviated.</extracomment>
        <translation>%1 min</translation>
    </message>
    <message>
        <source>%1 min %2 s</source>
        <extracomment>A duration in minutes (%1) and seconds (%2), abbreviated.</extracomment>
        <translation>%1 min %2 s</translation>
    </message>
    <message>
        <source>Restarted %1 device(s) successfully.</source>
        <extracomment>%1 is a number of devices.</extracomment>
        <translation>%1 Gerät(e) erfolgreich neu gestartet.</translation>
    </message>
    <message>
        <source>%1 succeeded, %2 failed: %3</source>
        <extracomment>%1 and %2 are numbers of devices, %3 the names of those that failed.</extracomment>
        <translation>%1 erfolgreich, %2 fehlgeschlagen: %3</translation>
    </message>
    <message>
        <source>Restarted %1 device(s); all back online in %2.</source>
        <extracomment>%1 is a number of devices, %2 how long the whole run took (such as &quot;3 min 10 s&quot;).</extracomment>
        <translation>%1 Gerät(e) neu gestartet; alle innerhalb von %2 wieder online.</translation>
    </message>
    <message>
        <source>%1 back online</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices.</extracomment>
        <translation>%1 wieder online</translation>
    </message>
    <message>
        <source>%1 not back after %2: %3</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 the wait (such as &quot;10 min&quot;), %3 their names.</extracomment>
        <translation>%1 nach %2 nicht wieder online: %3</translation>
    </message>
    <message>
        <source>%1 failed: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 fehlgeschlagen: %2</translation>
    </message>
    <message>
        <source>%1 not restarted: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 nicht neu gestartet: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::CertificateApprover</name>
    <message>
        <source>Verify Controller Certificate</source>
        <extracomment>The title line of the question asked on a controller&apos;s first connection.</extracomment>
        <translation>Controller-Zertifikat prüfen</translation>
    </message>
    <message>
        <source>Lanternfold hasn&apos;t connected to %1 before.

Certificate fingerprint (SHA-256 of public key):
%2

Confirm this matches your controller (check the same fingerprint in UniFi OS ▸ Settings ▸ System, or via `openssl` locally) before trusting it. This value is pinned — future connections will be rejected if it ever changes unexpectedly.</source>
        <extracomment>%1 is the controller&apos;s host name or address, %2 the key&apos;s fingerprint in groups of four characters. &quot;UniFi OS ▸ Settings ▸ System&quot; names the controller&apos;s own menus: keep it as the controller shows it.</extracomment>
        <translation>Lanternfold war noch nie mit %1 verbunden.

Zertifikat-Fingerabdruck (SHA-256 des öffentlichen Schlüssels):
%2

Vergewissern Sie sich, dass er zu Ihrem Controller passt (denselben Fingerabdruck finden Sie unter UniFi OS ▸ Settings ▸ System oder lokal mit `openssl`), bevor Sie ihm vertrauen. Dieser Wert wird hinterlegt — künftige Verbindungen werden abgelehnt, falls er sich jemals unerwartet ändert.</translation>
    </message>
    <message>
        <source>Trust &amp; Continue</source>
        <extracomment>Button that trusts the controller&apos;s key. The &quot;&amp;&quot; is shown as it is, not as a shortcut marker.</extracomment>
        <translation>Vertrauen &amp; fortfahren</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button that declines the controller&apos;s key.</extracomment>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>lanternfold::ContentView</name>
    <message>
        <source>Devices</source>
        <extracomment>Tab title: the access points and cameras of the controller</extracomment>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Schedules</source>
        <extracomment>Tab title: the scheduled restarts</extracomment>
        <translation>Zeitpläne</translation>
    </message>
    <message>
        <source>Settings</source>
        <extracomment>Tab title</extracomment>
        <translation>Einstellungen</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListModel</name>
    <message>
        <source>Access Points (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many access points it holds</extracomment>
        <translation>Access Points (%1)</translation>
    </message>
    <message>
        <source>Cameras (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many cameras it holds</extracomment>
        <translation>Kameras (%1)</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListView</name>
    <message>
        <source>Devices</source>
        <extracomment>Heading of the Devices tab</extracomment>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Refresh</source>
        <extracomment>Button: loads the device lists from the controller again</extracomment>
        <translation>Aktualisieren</translation>
    </message>
    <message>
        <source>Wait for each device to come back</source>
        <translation>Auf Rückkehr jedes Geräts warten</translation>
    </message>
    <message>
        <source>Restart Selected</source>
        <translation>Auswahl neu starten</translation>
    </message>
    <message>
        <source>%1 selected</source>
        <extracomment>%1 is how many devices are selected in the list</extracomment>
        <translation>%1 ausgewählt</translation>
    </message>
    <message>
        <source>%1 ok, %2 failed.</source>
        <extracomment>After a restart run: %1 devices restarted, %2 did not</extracomment>
        <translation>%1 OK, %2 fehlgeschlagen.</translation>
    </message>
    <message>
        <source>Restarted %1 device(s).</source>
        <translation>%1 Gerät(e) neu gestartet.</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceRow</name>
    <message>
        <source>%1 · %2</source>
        <extracomment>Line under an access point&apos;s name: %1 is its model, %2 its MAC address</extracomment>
        <translation>%1 · %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::FirstUseTrust</name>
    <message>
        <source>The request timed out.</source>
        <translation>Zeitüberschreitung bei der Anfrage.</translation>
    </message>
</context>
<context>
    <name>lanternfold::HttpTransport</name>
    <message>
        <source>The request timed out.</source>
        <translation>Zeitüberschreitung bei der Anfrage.</translation>
    </message>
    <message>
        <source>The connection was closed.</source>
        <translation>Die Verbindung wurde geschlossen.</translation>
    </message>
    <message>
        <source>The request could not be made: a header holds a line break.</source>
        <translation>Die Anfrage konnte nicht gestellt werden: Ein Header enthält einen Zeilenumbruch.</translation>
    </message>
</context>
<context>
    <name>lanternfold::JobRow</name>
    <message>
        <source>%1 · waits for each device</source>
        <extracomment>%1 is when the job runs (&quot;Daily at 03:00&quot;); added when the job waits for its devices to come back online</extracomment>
        <translation>%1 · wartet auf jedes Gerät</translation>
    </message>
    <message>
        <source>%1 · %2</source>
        <extracomment>%1 is the site&apos;s name, %2 the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;)</extracomment>
        <translation>%1 · %2</translation>
    </message>
    <message>
        <source>Next: %1</source>
        <extracomment>%1 is the date and time of the job&apos;s next run</extracomment>
        <translation>Nächster Lauf: %1</translation>
    </message>
    <message>
        <source>Last: %1</source>
        <extracomment>%1 is the date and time the job last ran</extracomment>
        <translation>Letzter Lauf: %1</translation>
    </message>
    <message>
        <source>%1 device(s): %2</source>
        <extracomment>%1 is how many devices the job restarts, %2 the names of the first few, separated by commas</extracomment>
        <translation>%1 Gerät(e): %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::LanternfoldApp</name>
    <message>
        <source>Lanternfold keeps running in the background. Launch it again to open the window.</source>
        <translation>Lanternfold läuft im Hintergrund weiter. Starten Sie es erneut, um das Fenster zu öffnen.</translation>
    </message>
</context>
<context>
    <name>lanternfold::LoginView</name>
    <message>
        <source>Connect</source>
        <extracomment>Button: logs in to the controller</extracomment>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Credentials are sent directly to your controller over your LAN and stored only in your system keyring. The controller&apos;s TLS certificate is pinned on first connect — see Settings to review or reset it.</source>
        <translation>Die Anmeldedaten werden über Ihr LAN direkt an Ihren Controller gesendet und nur im Schlüsselbund Ihres Systems gespeichert. Das TLS-Zertifikat des Controllers wird bei der ersten Verbindung hinterlegt — in den Einstellungen können Sie es prüfen oder zurücksetzen.</translation>
    </message>
    <message>
        <source>Lanternfold</source>
        <extracomment>The program&apos;s name, above the login form</extracomment>
        <translation>Lanternfold</translation>
    </message>
    <message>
        <source>Connect to your local UniFi controller</source>
        <translation>Mit Ihrem lokalen UniFi-Controller verbinden</translation>
    </message>
    <message>
        <source>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</source>
        <extracomment>Controller type: a console that runs UniFi OS; the names in brackets are Ubiquiti products</extracomment>
        <translation>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</translation>
    </message>
    <message>
        <source>Classic (self-hosted Network Application)</source>
        <extracomment>Controller type: the Network Application installed on one&apos;s own server</extracomment>
        <translation>Klassisch (selbst gehostete Network Application)</translation>
    </message>
    <message>
        <source>Controller type</source>
        <translation>Controller-Typ</translation>
    </message>
    <message>
        <source>192.168.1.1</source>
        <extracomment>Example address shown in the empty host field</extracomment>
        <translation>192.168.1.1</translation>
    </message>
    <message>
        <source>Controller IP or hostname</source>
        <translation>Controller-IP oder Hostname</translation>
    </message>
    <message>
        <source>Port</source>
        <extracomment>Form label: the controller&apos;s network port</extracomment>
        <translation>Port</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Benutzername</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Passwort</translation>
    </message>
    <message>
        <source>Remember password in keyring</source>
        <translation>Passwort im Schlüsselbund speichern</translation>
    </message>
</context>
<context>
    <name>lanternfold::RuleType</name>
    <message>
        <source>Once</source>
        <extracomment>How often a schedule repeats: it runs a single time</extracomment>
        <translation>Einmalig</translation>
    </message>
    <message>
        <source>Daily</source>
        <extracomment>How often a schedule repeats: every day</extracomment>
        <translation>Täglich</translation>
    </message>
    <message>
        <source>Weekly</source>
        <extracomment>How often a schedule repeats: on chosen days of the week</extracomment>
        <translation>Wöchentlich</translation>
    </message>
    <message>
        <source>Every N Hours</source>
        <extracomment>How often a schedule repeats: at a fixed number of hours apart</extracomment>
        <translation>Alle N Stunden</translation>
    </message>
</context>
<context>
    <name>lanternfold::RunNotifier</name>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold benötigt das Controller-Passwort erneut: Das gespeicherte wurde abgelehnt.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Geplanter Auftrag &apos;%1&apos; übersprungen — bestätigen Sie zuerst in Lanternfold das Zertifikat des Controllers.</translation>
    </message>
    <message>
        <source>Couldn&apos;t run &apos;%1&apos;: not connected to the controller.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>&apos;%1&apos; konnte nicht ausgeführt werden: keine Verbindung zum Controller.</translation>
    </message>
    <message>
        <source>Lanternfold — %1</source>
        <extracomment>A notification&apos;s title: the program&apos;s name, then the name of the job that ran.</extracomment>
        <translation>Lanternfold — %1</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleEditView</name>
    <message>
        <source>Edit Schedule</source>
        <translation>Zeitplan bearbeiten</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Neuer Zeitplan</translation>
    </message>
    <message>
        <source>Restart Devices</source>
        <extracomment>The name a new schedule starts with</extracomment>
        <translation>Geräte neu starten</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button: closes the editor without saving</extracomment>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Save</source>
        <extracomment>Button: saves the changes to an existing schedule</extracomment>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Create</source>
        <extracomment>Button: adds the new schedule</extracomment>
        <translation>Erstellen</translation>
    </message>
    <message>
        <source>Name</source>
        <extracomment>Section heading: the schedule&apos;s name</extracomment>
        <translation>Name</translation>
    </message>
    <message>
        <source>Schedule name</source>
        <translation>Name des Zeitplans</translation>
    </message>
    <message>
        <source>Devices</source>
        <extracomment>Section heading: the devices the schedule restarts</extracomment>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>No devices loaded. Connect and refresh from the Devices tab first.</source>
        <translation>Keine Geräte geladen. Verbinden Sie sich zuerst und aktualisieren Sie im Reiter „Geräte“.</translation>
    </message>
    <message>
        <source>Repeats</source>
        <extracomment>Section heading: when and how often the schedule runs</extracomment>
        <translation>Wiederholung</translation>
    </message>
    <message>
        <source>Frequency</source>
        <extracomment>Form label: the choice between Once, Daily, Weekly and Every N Hours</extracomment>
        <translation>Häufigkeit</translation>
    </message>
    <message>
        <source>Run at</source>
        <extracomment>Form label: the date and time of a schedule that runs once</extracomment>
        <translation>Ausführen am</translation>
    </message>
    <message>
        <source>Time</source>
        <extracomment>Form label: the time of day of a daily or weekly schedule</extracomment>
        <translation>Uhrzeit</translation>
    </message>
    <message>
        <source>Stagger</source>
        <extracomment>Section heading: the pause between restarting one device and the next</extracomment>
        <translation>Staffelung</translation>
    </message>
    <message>
        <source>Spacing out restarts avoids dropping wifi/camera coverage all at once.</source>
        <translation>Zeitlich versetzte Neustarts verhindern, dass WLAN-/Kameraabdeckung auf einmal ausfällt.</translation>
    </message>
    <message>
        <source>Wait for each device to come back online</source>
        <translation>Warten, bis jedes Gerät wieder online ist</translation>
    </message>
    <message>
        <source> minutes</source>
        <extracomment>Unit after the number of a spin box (&quot;10 minutes&quot;); keep the leading space</extracomment>
        <translation> Minuten</translation>
    </message>
    <message>
        <source>up to</source>
        <extracomment>Form label before the longest wait for a device (&quot;up to 10 minutes&quot;)</extracomment>
        <translation>bis zu</translation>
    </message>
    <message>
        <source>Stop the job</source>
        <extracomment>What happens when a device is not back online in time: the run ends there</extracomment>
        <translation>Auftrag abbrechen</translation>
    </message>
    <message>
        <source>Continue with the next device</source>
        <extracomment>What happens when a device is not back online in time: the run goes on</extracomment>
        <translation>Mit dem nächsten Gerät fortfahren</translation>
    </message>
    <message>
        <source>If one does not come back:</source>
        <translation>Falls ein Gerät nicht zurückkommt:</translation>
    </message>
    <message>
        <source>%1
These devices are on site &apos;%2&apos;. Choose that site in Settings to change them.</source>
        <extracomment>%1 is the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;), %2 the name of the site they are on</extracomment>
        <translation>%1
Diese Geräte gehören zur Site &apos;%2&apos;. Wählen Sie diese Site in den Einstellungen, um sie zu ändern.</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>Label beside the number of hours between two runs, when it is one</extracomment>
        <translation>Alle %1 Stunde</translation>
    </message>
    <message>
        <source>First run will be %1 hour after saving.</source>
        <translation>Erste Ausführung %1 Stunde nach dem Speichern.</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>Label beside the number of hours between two runs</extracomment>
        <translation>Alle %1 Stunden</translation>
    </message>
    <message>
        <source>First run will be %1 hours after saving.</source>
        <translation>Erste Ausführung %1 Stunden nach dem Speichern.</translation>
    </message>
    <message>
        <source>%1 seconds between each device</source>
        <extracomment>%1 is the pause, in seconds, between restarting one device and the next</extracomment>
        <translation>%1 Sekunden zwischen den Geräten</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListPlaceholder</name>
    <message>
        <source>No Scheduled Restarts</source>
        <translation>Keine geplanten Neustarts</translation>
    </message>
    <message>
        <source>Create a schedule to power-cycle access points or cameras automatically.</source>
        <translation>Erstellen Sie einen Zeitplan, um Access Points oder Kameras automatisch neu zu starten.</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListView</name>
    <message>
        <source>Schedules</source>
        <extracomment>Heading of the Schedules tab</extracomment>
        <translation>Zeitpläne</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Neuer Zeitplan</translation>
    </message>
    <message>
        <source>Delete</source>
        <extracomment>Menu item of a schedule row: removes the selected schedules</extracomment>
        <translation>Löschen</translation>
    </message>
</context>
<context>
    <name>lanternfold::SchedulerEngine</name>
    <message>
        <source>System clock changed; next runs recomputed.</source>
        <translation>Systemuhr geändert; nächste Ausführungen neu berechnet.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Geplanter Auftrag &apos;%1&apos; übersprungen — bestätigen Sie zuerst in Lanternfold das Zertifikat des Controllers.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — not logged in and auto-reconnect failed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Geplanter Auftrag &apos;%1&apos; übersprungen — nicht angemeldet und automatische Neuverbindung fehlgeschlagen.</translation>
    </message>
    <message>
        <source>Interrupted run of &apos;%1&apos; closed as missed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Unterbrochene Ausführung von &apos;%1&apos; als verpasst abgeschlossen.</translation>
    </message>
    <message>
        <source>Resumed &apos;%1&apos; after an interruption: %2 of %3 device(s) were already restarted.</source>
        <extracomment>%1 is the name of the scheduled job; %2 of its %3 devices were restarted before the interruption.</extracomment>
        <translation>&apos;%1&apos; nach einer Unterbrechung fortgesetzt: %2 von %3 Gerät(en) waren bereits neu gestartet.</translation>
    </message>
    <message>
        <source>Running scheduled job &apos;%1&apos; (%2 device(s))</source>
        <extracomment>%1 is the name of the scheduled job, %2 the number of devices it restarts now.</extracomment>
        <translation>Geplanter Auftrag &apos;%1&apos; wird ausgeführt (%2 Gerät(e))</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos;: %2</source>
        <extracomment>%1 is the name of the scheduled job, %2 what its run did.</extracomment>
        <translation>Geplanter Auftrag &apos;%1&apos;: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::SettingsView</name>
    <message>
        <source>Controller</source>
        <extracomment>Section heading: the controller this program connects to</extracomment>
        <translation>Controller</translation>
    </message>
    <message>
        <source>Not connected.</source>
        <translation>Nicht verbunden.</translation>
    </message>
    <message>
        <source>Security</source>
        <extracomment>Section heading</extracomment>
        <translation>Sicherheit</translation>
    </message>
    <message>
        <source>Forget Pinned Certificate</source>
        <translation>Hinterlegtes Zertifikat vergessen</translation>
    </message>
    <message>
        <source>Only do this if you&apos;ve reset, replaced, or re-adopted your controller — you&apos;ll be asked to re-verify the new certificate fingerprint on next connect.</source>
        <translation>Nur nötig, wenn Sie Ihren Controller zurückgesetzt, ersetzt oder neu adoptiert haben — beim nächsten Verbinden werden Sie gebeten, den Fingerabdruck des neuen Zertifikats erneut zu prüfen.</translation>
    </message>
    <message>
        <source>Background Scheduling</source>
        <translation>Zeitpläne im Hintergrund</translation>
    </message>
    <message>
        <source>Launch Lanternfold at login</source>
        <translation>Lanternfold bei der Anmeldung starten</translation>
    </message>
    <message>
        <source>Schedules only fire while Lanternfold is running. Keep it running in the background (closing the window won&apos;t quit it) and enable launch-at-login so restarts keep happening after a reboot.</source>
        <translation>Zeitpläne werden nur ausgeführt, solange Lanternfold läuft. Lassen Sie es im Hintergrund laufen (Schließen des Fensters beendet es nicht) und aktivieren Sie den Start bei der Anmeldung, damit die Neustarts auch nach einem Systemneustart weiter erfolgen.</translation>
    </message>
    <message>
        <source>Schedules are run by the background service.</source>
        <translation>Zeitpläne werden vom Hintergrunddienst ausgeführt.</translation>
    </message>
    <message>
        <source>Activity Log</source>
        <extracomment>Section heading: the list of what the program has done</extracomment>
        <translation>Aktivitätsprotokoll</translation>
    </message>
    <message>
        <source>No activity yet.</source>
        <translation>Noch keine Aktivität.</translation>
    </message>
    <message>
        <source>Host</source>
        <extracomment>Form label: the controller&apos;s address and port</extracomment>
        <translation>Host</translation>
    </message>
    <message>
        <source>Type</source>
        <extracomment>Form label: the kind of controller (UniFi OS or Classic)</extracomment>
        <translation>Typ</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Benutzername</translation>
    </message>
    <message>
        <source>Site</source>
        <extracomment>A UniFi site: one of the networks an account manages</extracomment>
        <translation>Site</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <extracomment>Button: logs out of the controller</extracomment>
        <translation>Trennen</translation>
    </message>
    <message>
        <source>UniFi OS</source>
        <extracomment>Controller type: a console that runs UniFi OS (a product name)</extracomment>
        <translation>UniFi OS</translation>
    </message>
    <message>
        <source>Classic</source>
        <extracomment>Controller type: the self-hosted Network Application</extracomment>
        <translation>Klassisch</translation>
    </message>
</context>
<context>
    <name>lanternfold::UnifiAPIClient</name>
    <message>
        <source>The answer could not be decoded.</source>
        <translation>Die Antwort konnte nicht dekodiert werden.</translation>
    </message>
    <message>
        <source>camera id</source>
        <extracomment>Inserted into &quot;Unexpected %1 from controller: %2&quot;.</extracomment>
        <translation>Kamera-ID</translation>
    </message>
    <message>
        <source>Unexpected MAC address from controller: %1</source>
        <extracomment>%1 is the MAC address as the controller gave it.</extracomment>
        <translation>Unerwartete MAC-Adresse vom Controller: %1</translation>
    </message>
    <message>
        <source>A classic controller has no cameras.</source>
        <translation>Ein klassischer Controller hat keine Kameras.</translation>
    </message>
    <message>
        <source>Unexpected %1 from controller: %2</source>
        <extracomment>%1 names what was expected (such as &quot;camera id&quot;), %2 is the value the controller gave.</extracomment>
        <translation>Unerwarteter Wert für %1 vom Controller: %2</translation>
    </message>
    <message>
        <source>The controller&apos;s CSRF token holds characters a request header cannot carry.</source>
        <translation>Das CSRF-Token des Controllers enthält Zeichen, die ein Anfrage-Header nicht übertragen kann.</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Lanternfold is already running and busy; it will open its window when it can.</source>
        <translation>Lanternfold läuft bereits und ist beschäftigt; es öffnet sein Fenster, sobald es kann.</translation>
    </message>
</context>
</TS>
