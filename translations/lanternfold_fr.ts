<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>AutostartLoginItem</name>
    <message>
        <source>Lanternfold cannot find its own program file, so it cannot be started at login.</source>
        <translation>Lanternfold ne trouve pas son propre fichier programme et ne peut donc pas être lancé à l&apos;ouverture de session.</translation>
    </message>
</context>
<context>
    <name>DeviceReading</name>
    <message>
        <source>The controller&apos;s answer for %1 is not a device list.</source>
        <extracomment>%1 is the access point&apos;s MAC address.</extracomment>
        <translation>La réponse du contrôleur pour %1 n&apos;est pas une liste d&apos;appareils.</translation>
    </message>
    <message>
        <source>The controller answered %1 records for %2, not its own.</source>
        <extracomment>%1 is a number of device records, %2 the MAC address of the access point asked about.</extracomment>
        <translation>Pour %2, le contrôleur a renvoyé %1 enregistrement(s) au lieu du sien.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer for camera %1 is not that camera.</source>
        <extracomment>%1 is the camera&apos;s id.</extracomment>
        <translation>La réponse du contrôleur pour la caméra %1 ne correspond pas à cette caméra.</translation>
    </message>
</context>
<context>
    <name>HttpAnswerReader</name>
    <message>
        <source>The controller&apos;s answer was not an HTTP response.</source>
        <translation>La réponse du contrôleur n&apos;était pas une réponse HTTP.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer is too large.</source>
        <translation>La réponse du contrôleur est trop volumineuse.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer came in an encoding Lanternfold does not read (%1).</source>
        <extracomment>%1 is the encoding&apos;s name as the controller gave it, such as &quot;gzip&quot;.</extracomment>
        <translation>La réponse du contrôleur utilise un encodage que Lanternfold ne sait pas lire (%1).</translation>
    </message>
    <message>
        <source>The controller closed the connection before its answer was complete.</source>
        <translation>Le contrôleur a fermé la connexion avant la fin de sa réponse.</translation>
    </message>
    <message>
        <source>The controller closed the connection without answering.</source>
        <translation>Le contrôleur a fermé la connexion sans répondre.</translation>
    </message>
</context>
<context>
    <name>Inventory</name>
    <message>
        <source>Access Point</source>
        <extracomment>Shown in the device list in place of the model of an access point whose controller names none.</extracomment>
        <translation>Point d&apos;accès</translation>
    </message>
    <message>
        <source>camera</source>
        <extracomment>Shown in the device list in place of the type of a camera whose controller names none.</extracomment>
        <translation>caméra</translation>
    </message>
</context>
<context>
    <name>RecurrenceRule</name>
    <message>
        <source>Once, on %1</source>
        <extracomment>A schedule that runs once; %1 is its date and time, already in the locale&apos;s format.</extracomment>
        <translation>Une fois, le %1</translation>
    </message>
    <message>
        <source>Daily at %1:%2</source>
        <extracomment>A schedule that runs every day; %1 is the hour (00-23), %2 the minute, both of two digits.</extracomment>
        <translation>Tous les jours à %1:%2</translation>
    </message>
    <message>
        <source>Weekly on %1 at %2:%3</source>
        <extracomment>A schedule that runs on some weekdays; %1 lists the days (abbreviated, comma-separated), %2 is the hour (00-23), %3 the minute, both of two digits.</extracomment>
        <translation>Chaque semaine (%1) à %2:%3</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>A schedule that runs every hour; %1 is 1.</extracomment>
        <translation>Toutes les heures (%1 h)</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>A schedule that runs every few hours; %1 is their number.</extracomment>
        <translation>Toutes les %1 heures</translation>
    </message>
</context>
<context>
    <name>UnifiAPIError</name>
    <message>
        <source>The connection to the controller was closed.</source>
        <translation>La connexion au contrôleur a été fermée.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate changed unexpectedly.
Pinned: %1
Presented: %2

If you recently reset or re-adopted the controller, remove the pin in Settings and reconnect.</source>
        <extracomment>%1 is the key&apos;s fingerprint (SHA-256) that was pinned, %2 the one the controller shows now.</extracomment>
        <translation>Le certificat du contrôleur a changé de manière inattendue.
Empreinte épinglée&#xa0;: %1
Empreinte présentée&#xa0;: %2

Si vous avez récemment réinitialisé ou réadopté le contrôleur, supprimez l&apos;épinglage dans les Paramètres et reconnectez-vous.</translation>
    </message>
    <message>
        <source>Controller returned HTTP %1: %2</source>
        <extracomment>%1 is the HTTP status code, %2 the start of the controller&apos;s answer.</extracomment>
        <translation>Le contrôleur a renvoyé HTTP %1&#xa0;: %2</translation>
    </message>
    <message>
        <source>Failed to parse controller response: %1</source>
        <extracomment>%1 says what was wrong with the answer (often in English).</extracomment>
        <translation>Impossible d&apos;analyser la réponse du contrôleur&#xa0;: %1</translation>
    </message>
    <message>
        <source>Invalid username or password.</source>
        <translation>Nom d&apos;utilisateur ou mot de passe incorrect.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate was not approved.</source>
        <translation>Le certificat du contrôleur n&apos;a pas été approuvé.</translation>
    </message>
    <message>
        <source>Not logged in.</source>
        <translation>Non connecté.</translation>
    </message>
    <message>
        <source>This account uses two-factor authentication. Use a local controller account without it.</source>
        <translation>Ce compte utilise l&apos;authentification à deux facteurs. Utilisez un compte local du contrôleur qui ne l&apos;utilise pas.</translation>
    </message>
    <message>
        <source>The controller has no site &apos;%1&apos; for this account. Choose a site in Settings.</source>
        <extracomment>%1 is the site&apos;s short id.</extracomment>
        <translation>Le contrôleur n&apos;a pas de site «&#xa0;%1&#xa0;» pour ce compte. Choisissez un site dans les Paramètres.</translation>
    </message>
    <message>
        <source>This account may not restart devices on site &apos;%1&apos;. Use an administrator account.</source>
        <extracomment>%1 is the site&apos;s name.</extracomment>
        <translation>Ce compte n&apos;est pas autorisé à redémarrer des appareils sur le site «&#xa0;%1&#xa0;». Utilisez un compte administrateur.</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppDelegate</name>
    <message>
        <source>Open Lanternfold</source>
        <translation>Ouvrir Lanternfold</translation>
    </message>
    <message>
        <source>Quit Lanternfold</source>
        <translation>Quitter Lanternfold</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppState</name>
    <message>
        <source>Connect failed: %1</source>
        <extracomment>%1 says why, as the controller or the connection told it.</extracomment>
        <translation>Échec de la connexion&#xa0;: %1</translation>
    </message>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold a de nouveau besoin du mot de passe du contrôleur&#xa0;: celui enregistré a été refusé.</translation>
    </message>
    <message>
        <source>Connected to %1</source>
        <extracomment>%1 is the controller&apos;s host name or address.</extracomment>
        <translation>Connecté à %1</translation>
    </message>
    <message>
        <source>Could not read the controller&apos;s sites: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>Impossible de lire les sites du contrôleur&#xa0;: %1</translation>
    </message>
    <message>
        <source>Site &apos;%1&apos; chosen: the controller has no site &apos;%2&apos; for this account.</source>
        <extracomment>%1 is the site taken instead, %2 the site that was asked for.</extracomment>
        <translation>Site «&#xa0;%1&#xa0;» choisi&#xa0;: le contrôleur n&apos;a pas de site «&#xa0;%2&#xa0;» pour ce compte.</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <extracomment>Activity log line: the person disconnected from the controller.</extracomment>
        <translation>Déconnecté</translation>
    </message>
    <message>
        <source>Device refresh failed: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>Échec de l&apos;actualisation des appareils&#xa0;: %1</translation>
    </message>
    <message>
        <source>Restarted %1</source>
        <extracomment>Activity log line; %1 is the device&apos;s name.</extracomment>
        <translation>Redémarrage de %1 effectué</translation>
    </message>
    <message>
        <source>Restart failed for %1: %2</source>
        <extracomment>%1 is the device&apos;s name, %2 says why.</extracomment>
        <translation>Échec du redémarrage de %1&#xa0;: %2</translation>
    </message>
    <message>
        <source>%1 back online after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it took (such as &quot;1 min 48 s&quot;).</extracomment>
        <translation>%1 de nouveau en ligne après %2</translation>
    </message>
    <message>
        <source>%1 not back after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it was waited for (such as &quot;10 min&quot;).</extracomment>
        <translation>%1 toujours hors ligne après %2</translation>
    </message>
    <message>
        <source>%1 s</source>
        <extracomment>A duration in seconds, abbreviated.</extracomment>
        <translation>%1&#xa0;s</translation>
    </message>
    <message>
        <source>%1 min</source>
        <extracomment>A duration in minutes, abbreviated.</extracomment>
        <translation>%1&#xa0;min</translation>
    </message>
    <message>
        <source>%1 min %2 s</source>
        <extracomment>A duration in minutes (%1) and seconds (%2), abbreviated.</extracomment>
        <translation>%1&#xa0;min %2&#xa0;s</translation>
    </message>
    <message>
        <source>Restarted %1 device(s) successfully.</source>
        <extracomment>%1 is a number of devices.</extracomment>
        <translation>%1 appareil(s) redémarré(s) avec succès.</translation>
    </message>
    <message>
        <source>%1 succeeded, %2 failed: %3</source>
        <extracomment>%1 and %2 are numbers of devices, %3 the names of those that failed.</extracomment>
        <translation>%1 réussi(s), %2 en échec&#xa0;: %3</translation>
    </message>
    <message>
        <source>Restarted %1 device(s); all back online in %2.</source>
        <extracomment>%1 is a number of devices, %2 how long the whole run took (such as &quot;3 min 10 s&quot;).</extracomment>
        <translation>%1 appareil(s) redémarré(s)&#xa0;; tous de nouveau en ligne en %2.</translation>
    </message>
    <message>
        <source>%1 back online</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices.</extracomment>
        <translation>%1 de nouveau en ligne</translation>
    </message>
    <message>
        <source>%1 not back after %2: %3</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 the wait (such as &quot;10 min&quot;), %3 their names.</extracomment>
        <translation>%1 toujours hors ligne après %2&#xa0;: %3</translation>
    </message>
    <message>
        <source>%1 failed: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 en échec&#xa0;: %2</translation>
    </message>
    <message>
        <source>%1 not restarted: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 non redémarré(s)&#xa0;: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::CertificateApprover</name>
    <message>
        <source>Verify Controller Certificate</source>
        <extracomment>The title line of the question asked on a controller&apos;s first connection.</extracomment>
        <translation>Vérifier le certificat du contrôleur</translation>
    </message>
    <message>
        <source>Lanternfold hasn&apos;t connected to %1 before.

Certificate fingerprint (SHA-256 of public key):
%2

Confirm this matches your controller (check the same fingerprint in UniFi OS ▸ Settings ▸ System, or via `openssl` locally) before trusting it. This value is pinned — future connections will be rejected if it ever changes unexpectedly.</source>
        <extracomment>%1 is the controller&apos;s host name or address, %2 the key&apos;s fingerprint in groups of four characters. &quot;UniFi OS ▸ Settings ▸ System&quot; names the controller&apos;s own menus: keep it as the controller shows it.</extracomment>
        <translation>Lanternfold ne s&apos;est encore jamais connecté à %1.

Empreinte du certificat (SHA-256 de la clé publique)&#xa0;:
%2

Vérifiez qu&apos;elle correspond à votre contrôleur (comparez-la avec l&apos;empreinte affichée dans UniFi OS ▸ Settings ▸ System, ou obtenue localement avec `openssl`) avant de lui faire confiance. Cette valeur est épinglée — les connexions futures seront refusées si elle change un jour de manière inattendue.</translation>
    </message>
    <message>
        <source>Trust &amp; Continue</source>
        <extracomment>Button that trusts the controller&apos;s key. The &quot;&amp;&quot; is shown as it is, not as a shortcut marker.</extracomment>
        <translation>Approuver &amp; continuer</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button that declines the controller&apos;s key.</extracomment>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>lanternfold::ContentView</name>
    <message>
        <source>Devices</source>
        <extracomment>Tab title: the access points and cameras of the controller</extracomment>
        <translation>Appareils</translation>
    </message>
    <message>
        <source>Schedules</source>
        <extracomment>Tab title: the scheduled restarts</extracomment>
        <translation>Planifications</translation>
    </message>
    <message>
        <source>Settings</source>
        <extracomment>Tab title</extracomment>
        <translation>Paramètres</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListModel</name>
    <message>
        <source>Access Points (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many access points it holds</extracomment>
        <translation>Points d&apos;accès (%1)</translation>
    </message>
    <message>
        <source>Cameras (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many cameras it holds</extracomment>
        <translation>Caméras (%1)</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListView</name>
    <message>
        <source>Devices</source>
        <extracomment>Heading of the Devices tab</extracomment>
        <translation>Appareils</translation>
    </message>
    <message>
        <source>Refresh</source>
        <extracomment>Button: loads the device lists from the controller again</extracomment>
        <translation>Actualiser</translation>
    </message>
    <message>
        <source>Wait for each device to come back</source>
        <translation>Attendre le retour de chaque appareil</translation>
    </message>
    <message>
        <source>Restart Selected</source>
        <translation>Redémarrer la sélection</translation>
    </message>
    <message>
        <source>%1 selected</source>
        <extracomment>%1 is how many devices are selected in the list</extracomment>
        <translation>%1 sélectionné(s)</translation>
    </message>
    <message>
        <source>%1 ok, %2 failed.</source>
        <extracomment>After a restart run: %1 devices restarted, %2 did not</extracomment>
        <translation>%1 OK, %2 en échec.</translation>
    </message>
    <message>
        <source>Restarted %1 device(s).</source>
        <translation>%1 appareil(s) redémarré(s).</translation>
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
        <translation>Le délai de la requête a expiré.</translation>
    </message>
</context>
<context>
    <name>lanternfold::HttpTransport</name>
    <message>
        <source>The request timed out.</source>
        <translation>Le délai de la requête a expiré.</translation>
    </message>
    <message>
        <source>The connection was closed.</source>
        <translation>La connexion a été fermée.</translation>
    </message>
    <message>
        <source>The request could not be made: a header holds a line break.</source>
        <translation>Impossible d&apos;envoyer la requête&#xa0;: un en-tête contient un saut de ligne.</translation>
    </message>
</context>
<context>
    <name>lanternfold::JobRow</name>
    <message>
        <source>%1 · waits for each device</source>
        <extracomment>%1 is when the job runs (&quot;Daily at 03:00&quot;); added when the job waits for its devices to come back online</extracomment>
        <translation>%1 · attend chaque appareil</translation>
    </message>
    <message>
        <source>%1 · %2</source>
        <extracomment>%1 is the site&apos;s name, %2 the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;)</extracomment>
        <translation>%1 · %2</translation>
    </message>
    <message>
        <source>Next: %1</source>
        <extracomment>%1 is the date and time of the job&apos;s next run</extracomment>
        <translation>Prochaine&#xa0;: %1</translation>
    </message>
    <message>
        <source>Last: %1</source>
        <extracomment>%1 is the date and time the job last ran</extracomment>
        <translation>Dernière&#xa0;: %1</translation>
    </message>
    <message>
        <source>%1 device(s): %2</source>
        <extracomment>%1 is how many devices the job restarts, %2 the names of the first few, separated by commas</extracomment>
        <translation>%1 appareil(s)&#xa0;: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::LanternfoldApp</name>
    <message>
        <source>Lanternfold keeps running in the background. Launch it again to open the window.</source>
        <translation>Lanternfold continue de s&apos;exécuter en arrière-plan. Relancez-le pour ouvrir la fenêtre.</translation>
    </message>
</context>
<context>
    <name>lanternfold::LoginView</name>
    <message>
        <source>Connect</source>
        <extracomment>Button: logs in to the controller</extracomment>
        <translation>Se connecter</translation>
    </message>
    <message>
        <source>Credentials are sent directly to your controller over your LAN and stored only in your system keyring. The controller&apos;s TLS certificate is pinned on first connect — see Settings to review or reset it.</source>
        <translation>Les identifiants sont envoyés directement à votre contrôleur via votre réseau local et stockés uniquement dans le trousseau de votre système. Le certificat TLS du contrôleur est épinglé lors de la première connexion — consultez les Paramètres pour le vérifier ou le réinitialiser.</translation>
    </message>
    <message>
        <source>Lanternfold</source>
        <extracomment>The program&apos;s name, above the login form</extracomment>
        <translation>Lanternfold</translation>
    </message>
    <message>
        <source>Connect to your local UniFi controller</source>
        <translation>Connectez-vous à votre contrôleur UniFi local</translation>
    </message>
    <message>
        <source>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</source>
        <extracomment>Controller type: a console that runs UniFi OS; the names in brackets are Ubiquiti products</extracomment>
        <translation>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</translation>
    </message>
    <message>
        <source>Classic (self-hosted Network Application)</source>
        <extracomment>Controller type: the Network Application installed on one&apos;s own server</extracomment>
        <translation>Classique (Network Application auto-hébergée)</translation>
    </message>
    <message>
        <source>Controller type</source>
        <translation>Type de contrôleur</translation>
    </message>
    <message>
        <source>192.168.1.1</source>
        <extracomment>Example address shown in the empty host field</extracomment>
        <translation>192.168.1.1</translation>
    </message>
    <message>
        <source>Controller IP or hostname</source>
        <translation>IP ou nom d&apos;hôte du contrôleur</translation>
    </message>
    <message>
        <source>Port</source>
        <extracomment>Form label: the controller&apos;s network port</extracomment>
        <translation>Port</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Nom d&apos;utilisateur</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Mot de passe</translation>
    </message>
    <message>
        <source>Remember password in keyring</source>
        <translation>Mémoriser le mot de passe dans le trousseau</translation>
    </message>
</context>
<context>
    <name>lanternfold::RuleType</name>
    <message>
        <source>Once</source>
        <extracomment>How often a schedule repeats: it runs a single time</extracomment>
        <translation>Une fois</translation>
    </message>
    <message>
        <source>Daily</source>
        <extracomment>How often a schedule repeats: every day</extracomment>
        <translation>Tous les jours</translation>
    </message>
    <message>
        <source>Weekly</source>
        <extracomment>How often a schedule repeats: on chosen days of the week</extracomment>
        <translation>Chaque semaine</translation>
    </message>
    <message>
        <source>Every N Hours</source>
        <extracomment>How often a schedule repeats: at a fixed number of hours apart</extracomment>
        <translation>Toutes les N h</translation>
    </message>
</context>
<context>
    <name>lanternfold::RunNotifier</name>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold a de nouveau besoin du mot de passe du contrôleur&#xa0;: celui enregistré a été refusé.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tâche planifiée «&#xa0;%1&#xa0;» ignorée — confirmez d&apos;abord le certificat du contrôleur dans Lanternfold.</translation>
    </message>
    <message>
        <source>Couldn&apos;t run &apos;%1&apos;: not connected to the controller.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Impossible d&apos;exécuter «&#xa0;%1&#xa0;»&#xa0;: non connecté au contrôleur.</translation>
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
        <translation>Modifier la planification</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Nouvelle planification</translation>
    </message>
    <message>
        <source>Restart Devices</source>
        <extracomment>The name a new schedule starts with</extracomment>
        <translation>Redémarrage des appareils</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button: closes the editor without saving</extracomment>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Save</source>
        <extracomment>Button: saves the changes to an existing schedule</extracomment>
        <translation>Enregistrer</translation>
    </message>
    <message>
        <source>Create</source>
        <extracomment>Button: adds the new schedule</extracomment>
        <translation>Créer</translation>
    </message>
    <message>
        <source>Name</source>
        <extracomment>Section heading: the schedule&apos;s name</extracomment>
        <translation>Nom</translation>
    </message>
    <message>
        <source>Schedule name</source>
        <translation>Nom de la planification</translation>
    </message>
    <message>
        <source>Devices</source>
        <extracomment>Section heading: the devices the schedule restarts</extracomment>
        <translation>Appareils</translation>
    </message>
    <message>
        <source>No devices loaded. Connect and refresh from the Devices tab first.</source>
        <translation>Aucun appareil chargé. Connectez-vous et actualisez d&apos;abord depuis l&apos;onglet Appareils.</translation>
    </message>
    <message>
        <source>Repeats</source>
        <extracomment>Section heading: when and how often the schedule runs</extracomment>
        <translation>Répétition</translation>
    </message>
    <message>
        <source>Frequency</source>
        <extracomment>Form label: the choice between Once, Daily, Weekly and Every N Hours</extracomment>
        <translation>Fréquence</translation>
    </message>
    <message>
        <source>Run at</source>
        <extracomment>Form label: the date and time of a schedule that runs once</extracomment>
        <translation>Exécuter le</translation>
    </message>
    <message>
        <source>Time</source>
        <extracomment>Form label: the time of day of a daily or weekly schedule</extracomment>
        <translation>Heure</translation>
    </message>
    <message>
        <source>Stagger</source>
        <extracomment>Section heading: the pause between restarting one device and the next</extracomment>
        <translation>Échelonnement</translation>
    </message>
    <message>
        <source>Spacing out restarts avoids dropping wifi/camera coverage all at once.</source>
        <translation>Espacer les redémarrages évite de couper d&apos;un coup toute la couverture wifi/caméras.</translation>
    </message>
    <message>
        <source>Wait for each device to come back online</source>
        <translation>Attendre que chaque appareil soit de nouveau en ligne</translation>
    </message>
    <message>
        <source> minutes</source>
        <extracomment>Unit after the number of a spin box (&quot;10 minutes&quot;); keep the leading space</extracomment>
        <translation> minutes</translation>
    </message>
    <message>
        <source>up to</source>
        <extracomment>Form label before the longest wait for a device (&quot;up to 10 minutes&quot;)</extracomment>
        <translation>jusqu&apos;à</translation>
    </message>
    <message>
        <source>Stop the job</source>
        <extracomment>What happens when a device is not back online in time: the run ends there</extracomment>
        <translation>Arrêter la tâche</translation>
    </message>
    <message>
        <source>Continue with the next device</source>
        <extracomment>What happens when a device is not back online in time: the run goes on</extracomment>
        <translation>Passer à l&apos;appareil suivant</translation>
    </message>
    <message>
        <source>If one does not come back:</source>
        <translation>Si un appareil ne revient pas&#xa0;:</translation>
    </message>
    <message>
        <source>%1
These devices are on site &apos;%2&apos;. Choose that site in Settings to change them.</source>
        <extracomment>%1 is the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;), %2 the name of the site they are on</extracomment>
        <translation>%1
Ces appareils sont sur le site «&#xa0;%2&#xa0;». Choisissez ce site dans les Paramètres pour les modifier.</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>Label beside the number of hours between two runs, when it is one</extracomment>
        <translation>Intervalle&#xa0;: %1 heure</translation>
    </message>
    <message>
        <source>First run will be %1 hour after saving.</source>
        <translation>La première exécution aura lieu %1 heure après l&apos;enregistrement.</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>Label beside the number of hours between two runs</extracomment>
        <translation>Intervalle&#xa0;: %1 heures</translation>
    </message>
    <message>
        <source>First run will be %1 hours after saving.</source>
        <translation>La première exécution aura lieu %1 heures après l&apos;enregistrement.</translation>
    </message>
    <message>
        <source>%1 seconds between each device</source>
        <extracomment>%1 is the pause, in seconds, between restarting one device and the next</extracomment>
        <translation>%1 secondes entre chaque appareil</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListPlaceholder</name>
    <message>
        <source>No Scheduled Restarts</source>
        <translation>Aucun redémarrage planifié</translation>
    </message>
    <message>
        <source>Create a schedule to power-cycle access points or cameras automatically.</source>
        <translation>Créez une planification pour redémarrer automatiquement des points d&apos;accès ou des caméras.</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListView</name>
    <message>
        <source>Schedules</source>
        <extracomment>Heading of the Schedules tab</extracomment>
        <translation>Planifications</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Nouvelle planification</translation>
    </message>
    <message>
        <source>Delete</source>
        <extracomment>Menu item of a schedule row: removes the selected schedules</extracomment>
        <translation>Supprimer</translation>
    </message>
</context>
<context>
    <name>lanternfold::SchedulerEngine</name>
    <message>
        <source>System clock changed; next runs recomputed.</source>
        <translation>L&apos;horloge système a changé&#xa0;; prochaines exécutions recalculées.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tâche planifiée «&#xa0;%1&#xa0;» ignorée — confirmez d&apos;abord le certificat du contrôleur dans Lanternfold.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — not logged in and auto-reconnect failed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tâche planifiée «&#xa0;%1&#xa0;» ignorée — non connecté et échec de la reconnexion automatique.</translation>
    </message>
    <message>
        <source>Interrupted run of &apos;%1&apos; closed as missed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Exécution interrompue de «&#xa0;%1&#xa0;» classée comme manquée.</translation>
    </message>
    <message>
        <source>Resumed &apos;%1&apos; after an interruption: %2 of %3 device(s) were already restarted.</source>
        <extracomment>%1 is the name of the scheduled job; %2 of its %3 devices were restarted before the interruption.</extracomment>
        <translation>Reprise de «&#xa0;%1&#xa0;» après une interruption&#xa0;: %2 appareil(s) sur %3 déjà redémarré(s).</translation>
    </message>
    <message>
        <source>Running scheduled job &apos;%1&apos; (%2 device(s))</source>
        <extracomment>%1 is the name of the scheduled job, %2 the number of devices it restarts now.</extracomment>
        <translation>Exécution de la tâche planifiée «&#xa0;%1&#xa0;» (%2 appareil(s))</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos;: %2</source>
        <extracomment>%1 is the name of the scheduled job, %2 what its run did.</extracomment>
        <translation>Tâche planifiée «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::SettingsView</name>
    <message>
        <source>Controller</source>
        <extracomment>Section heading: the controller this program connects to</extracomment>
        <translation>Contrôleur</translation>
    </message>
    <message>
        <source>Not connected.</source>
        <translation>Non connecté.</translation>
    </message>
    <message>
        <source>Security</source>
        <extracomment>Section heading</extracomment>
        <translation>Sécurité</translation>
    </message>
    <message>
        <source>Forget Pinned Certificate</source>
        <translation>Oublier le certificat épinglé</translation>
    </message>
    <message>
        <source>Only do this if you&apos;ve reset, replaced, or re-adopted your controller — you&apos;ll be asked to re-verify the new certificate fingerprint on next connect.</source>
        <translation>Ne faites cela que si vous avez réinitialisé, remplacé ou réadopté votre contrôleur — il vous sera demandé de vérifier à nouveau l&apos;empreinte du nouveau certificat lors de la prochaine connexion.</translation>
    </message>
    <message>
        <source>Background Scheduling</source>
        <translation>Planification en arrière-plan</translation>
    </message>
    <message>
        <source>Launch Lanternfold at login</source>
        <translation>Lancer Lanternfold à l&apos;ouverture de session</translation>
    </message>
    <message>
        <source>Schedules only fire while Lanternfold is running. Keep it running in the background (closing the window won&apos;t quit it) and enable launch-at-login so restarts keep happening after a reboot.</source>
        <translation>Les planifications ne se déclenchent que lorsque Lanternfold est en cours d&apos;exécution. Laissez-le tourner en arrière-plan (fermer la fenêtre ne le quitte pas) et activez le lancement à l&apos;ouverture de session pour que les redémarrages planifiés continuent après un redémarrage de l&apos;ordinateur.</translation>
    </message>
    <message>
        <source>Schedules are run by the background service.</source>
        <translation>Les planifications sont exécutées par le service d&apos;arrière-plan.</translation>
    </message>
    <message>
        <source>Activity Log</source>
        <extracomment>Section heading: the list of what the program has done</extracomment>
        <translation>Journal d&apos;activité</translation>
    </message>
    <message>
        <source>No activity yet.</source>
        <translation>Aucune activité pour l&apos;instant.</translation>
    </message>
    <message>
        <source>Host</source>
        <extracomment>Form label: the controller&apos;s address and port</extracomment>
        <translation>Hôte</translation>
    </message>
    <message>
        <source>Type</source>
        <extracomment>Form label: the kind of controller (UniFi OS or Classic)</extracomment>
        <translation>Type</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Nom d&apos;utilisateur</translation>
    </message>
    <message>
        <source>Site</source>
        <extracomment>A UniFi site: one of the networks an account manages</extracomment>
        <translation>Site</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <extracomment>Button: logs out of the controller</extracomment>
        <translation>Déconnecter</translation>
    </message>
    <message>
        <source>UniFi OS</source>
        <extracomment>Controller type: a console that runs UniFi OS (a product name)</extracomment>
        <translation>UniFi OS</translation>
    </message>
    <message>
        <source>Classic</source>
        <extracomment>Controller type: the self-hosted Network Application</extracomment>
        <translation>Classique</translation>
    </message>
</context>
<context>
    <name>lanternfold::UnifiAPIClient</name>
    <message>
        <source>The answer could not be decoded.</source>
        <translation>La réponse n&apos;a pas pu être décodée.</translation>
    </message>
    <message>
        <source>camera id</source>
        <extracomment>Inserted into &quot;Unexpected %1 from controller: %2&quot;.</extracomment>
        <translation>l&apos;identifiant de caméra</translation>
    </message>
    <message>
        <source>Unexpected MAC address from controller: %1</source>
        <extracomment>%1 is the MAC address as the controller gave it.</extracomment>
        <translation>Adresse MAC inattendue reçue du contrôleur&#xa0;: %1</translation>
    </message>
    <message>
        <source>A classic controller has no cameras.</source>
        <translation>Un contrôleur classique n&apos;a pas de caméras.</translation>
    </message>
    <message>
        <source>Unexpected %1 from controller: %2</source>
        <extracomment>%1 names what was expected (such as &quot;camera id&quot;), %2 is the value the controller gave.</extracomment>
        <translation>Valeur inattendue reçue du contrôleur pour %1&#xa0;: %2</translation>
    </message>
    <message>
        <source>The controller&apos;s CSRF token holds characters a request header cannot carry.</source>
        <translation>Le jeton CSRF du contrôleur contient des caractères qu&apos;un en-tête de requête ne peut pas transporter.</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Lanternfold is already running and busy; it will open its window when it can.</source>
        <translation>Lanternfold est déjà en cours d’exécution et occupé ; il ouvrira sa fenêtre dès que possible.</translation>
    </message>
</context>
</TS>
