<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es_ES">
<context>
    <name>AutostartLoginItem</name>
    <message>
        <source>Lanternfold cannot find its own program file, so it cannot be started at login.</source>
        <translation>Lanternfold no encuentra su propio archivo de programa, por lo que no puede ejecutarse al iniciar sesión.</translation>
    </message>
</context>
<context>
    <name>DeviceReading</name>
    <message>
        <source>The controller&apos;s answer for %1 is not a device list.</source>
        <extracomment>%1 is the access point&apos;s MAC address.</extracomment>
        <translation>La respuesta del controlador para %1 no es una lista de dispositivos.</translation>
    </message>
    <message>
        <source>The controller answered %1 records for %2, not its own.</source>
        <extracomment>%1 is a number of device records, %2 the MAC address of the access point asked about.</extracomment>
        <translation>El controlador devolvió %1 registros para %2, en lugar del suyo propio.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer for camera %1 is not that camera.</source>
        <extracomment>%1 is the camera&apos;s id.</extracomment>
        <translation>La respuesta del controlador para la cámara %1 no corresponde a esa cámara.</translation>
    </message>
</context>
<context>
    <name>HttpAnswerReader</name>
    <message>
        <source>The controller&apos;s answer was not an HTTP response.</source>
        <translation>La respuesta del controlador no era una respuesta HTTP.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer is too large.</source>
        <translation>La respuesta del controlador es demasiado grande.</translation>
    </message>
    <message>
        <source>The controller&apos;s answer came in an encoding Lanternfold does not read (%1).</source>
        <extracomment>%1 is the encoding&apos;s name as the controller gave it, such as &quot;gzip&quot;.</extracomment>
        <translation>La respuesta del controlador llegó en una codificación que Lanternfold no puede leer (%1).</translation>
    </message>
    <message>
        <source>The controller closed the connection before its answer was complete.</source>
        <translation>El controlador cerró la conexión antes de completar su respuesta.</translation>
    </message>
    <message>
        <source>The controller closed the connection without answering.</source>
        <translation>El controlador cerró la conexión sin responder.</translation>
    </message>
</context>
<context>
    <name>Inventory</name>
    <message>
        <source>Access Point</source>
        <extracomment>Shown in the device list in place of the model of an access point whose controller names none.</extracomment>
        <translation>Punto de acceso</translation>
    </message>
    <message>
        <source>camera</source>
        <extracomment>Shown in the device list in place of the type of a camera whose controller names none.</extracomment>
        <translation>cámara</translation>
    </message>
</context>
<context>
    <name>RecurrenceRule</name>
    <message>
        <source>Once, on %1</source>
        <extracomment>A schedule that runs once; %1 is its date and time, already in the locale&apos;s format.</extracomment>
        <translation>Una vez, el %1</translation>
    </message>
    <message>
        <source>Daily at %1:%2</source>
        <extracomment>A schedule that runs every day; %1 is the hour (00-23), %2 the minute, both of two digits.</extracomment>
        <translation>Diariamente a las %1:%2</translation>
    </message>
    <message>
        <source>Weekly on %1 at %2:%3</source>
        <extracomment>A schedule that runs on some weekdays; %1 lists the days (abbreviated, comma-separated), %2 is the hour (00-23), %3 the minute, both of two digits.</extracomment>
        <translation>Semanalmente los %1 a las %2:%3</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>A schedule that runs every hour; %1 is 1.</extracomment>
        <translation>Cada %1 hora</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>A schedule that runs every few hours; %1 is their number.</extracomment>
        <translation>Cada %1 horas</translation>
    </message>
</context>
<context>
    <name>UnifiAPIError</name>
    <message>
        <source>The connection to the controller was closed.</source>
        <translation>Se cerró la conexión con el controlador.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate changed unexpectedly.
Pinned: %1
Presented: %2

If you recently reset or re-adopted the controller, remove the pin in Settings and reconnect.</source>
        <extracomment>%1 is the key&apos;s fingerprint (SHA-256) that was pinned, %2 the one the controller shows now.</extracomment>
        <translation>El certificado del controlador ha cambiado de forma inesperada.
Fijado: %1
Presentado: %2

Si ha restablecido o vuelto a adoptar el controlador recientemente, elimine el certificado fijado en Ajustes y vuelva a conectar.</translation>
    </message>
    <message>
        <source>Controller returned HTTP %1: %2</source>
        <extracomment>%1 is the HTTP status code, %2 the start of the controller&apos;s answer.</extracomment>
        <translation>El controlador devolvió HTTP %1: %2</translation>
    </message>
    <message>
        <source>Failed to parse controller response: %1</source>
        <extracomment>%1 says what was wrong with the answer (often in English).</extracomment>
        <translation>No se pudo analizar la respuesta del controlador: %1</translation>
    </message>
    <message>
        <source>Invalid username or password.</source>
        <translation>Usuario o contraseña no válidos.</translation>
    </message>
    <message>
        <source>The controller&apos;s certificate was not approved.</source>
        <translation>El certificado del controlador no fue aprobado.</translation>
    </message>
    <message>
        <source>Not logged in.</source>
        <translation>Sesión no iniciada.</translation>
    </message>
    <message>
        <source>This account uses two-factor authentication. Use a local controller account without it.</source>
        <translation>Esta cuenta utiliza autenticación de dos factores. Utilice una cuenta local del controlador que no la tenga.</translation>
    </message>
    <message>
        <source>The controller has no site &apos;%1&apos; for this account. Choose a site in Settings.</source>
        <extracomment>%1 is the site&apos;s short id.</extracomment>
        <translation>El controlador no tiene ningún sitio «%1» para esta cuenta. Elija un sitio en Ajustes.</translation>
    </message>
    <message>
        <source>This account may not restart devices on site &apos;%1&apos;. Use an administrator account.</source>
        <extracomment>%1 is the site&apos;s name.</extracomment>
        <translation>Esta cuenta no tiene permiso para reiniciar dispositivos en el sitio «%1». Utilice una cuenta de administrador.</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppDelegate</name>
    <message>
        <source>Open Lanternfold</source>
        <translation>Abrir Lanternfold</translation>
    </message>
    <message>
        <source>Quit Lanternfold</source>
        <translation>Salir de Lanternfold</translation>
    </message>
</context>
<context>
    <name>lanternfold::AppState</name>
    <message>
        <source>Connect failed: %1</source>
        <extracomment>%1 says why, as the controller or the connection told it.</extracomment>
        <translation>Error al conectar: %1</translation>
    </message>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold necesita de nuevo la contraseña del controlador: la guardada fue rechazada.</translation>
    </message>
    <message>
        <source>Connected to %1</source>
        <extracomment>%1 is the controller&apos;s host name or address.</extracomment>
        <translation>Conectado a %1</translation>
    </message>
    <message>
        <source>Could not read the controller&apos;s sites: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>No se pudieron leer los sitios del controlador: %1</translation>
    </message>
    <message>
        <source>Site &apos;%1&apos; chosen: the controller has no site &apos;%2&apos; for this account.</source>
        <extracomment>%1 is the site taken instead, %2 the site that was asked for.</extracomment>
        <translation>Se eligió el sitio «%1»: el controlador no tiene ningún sitio «%2» para esta cuenta.</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <extracomment>Activity log line: the person disconnected from the controller.</extracomment>
        <translation>Desconectado</translation>
    </message>
    <message>
        <source>Device refresh failed: %1</source>
        <extracomment>%1 says why.</extracomment>
        <translation>Error al actualizar los dispositivos: %1</translation>
    </message>
    <message>
        <source>Restarted %1</source>
        <extracomment>Activity log line; %1 is the device&apos;s name.</extracomment>
        <translation>Se reinició %1</translation>
    </message>
    <message>
        <source>Restart failed for %1: %2</source>
        <extracomment>%1 is the device&apos;s name, %2 says why.</extracomment>
        <translation>Error al reiniciar %1: %2</translation>
    </message>
    <message>
        <source>%1 back online after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it took (such as &quot;1 min 48 s&quot;).</extracomment>
        <translation>%1 vuelve a estar en línea tras %2</translation>
    </message>
    <message>
        <source>%1 not back after %2</source>
        <extracomment>%1 is the device&apos;s name, %2 how long it was waited for (such as &quot;10 min&quot;).</extracomment>
        <translation>%1 sigue sin conexión tras %2</translation>
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
        <translation>Se reiniciaron correctamente %1 dispositivo(s).</translation>
    </message>
    <message>
        <source>%1 succeeded, %2 failed: %3</source>
        <extracomment>%1 and %2 are numbers of devices, %3 the names of those that failed.</extracomment>
        <translation>%1 con éxito, %2 con error: %3</translation>
    </message>
    <message>
        <source>Restarted %1 device(s); all back online in %2.</source>
        <extracomment>%1 is a number of devices, %2 how long the whole run took (such as &quot;3 min 10 s&quot;).</extracomment>
        <translation>Se reiniciaron %1 dispositivo(s); todos volvieron a estar en línea en %2.</translation>
    </message>
    <message>
        <source>%1 back online</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices.</extracomment>
        <translation>%1 de nuevo en línea</translation>
    </message>
    <message>
        <source>%1 not back after %2: %3</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 the wait (such as &quot;10 min&quot;), %3 their names.</extracomment>
        <translation>%1 sin conexión tras %2: %3</translation>
    </message>
    <message>
        <source>%1 failed: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 con error: %2</translation>
    </message>
    <message>
        <source>%1 not restarted: %2</source>
        <extracomment>One item of a run&apos;s outcome; %1 is a number of devices, %2 their names.</extracomment>
        <translation>%1 sin reiniciar: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::CertificateApprover</name>
    <message>
        <source>Verify Controller Certificate</source>
        <extracomment>The title line of the question asked on a controller&apos;s first connection.</extracomment>
        <translation>Verificar el certificado del controlador</translation>
    </message>
    <message>
        <source>Lanternfold hasn&apos;t connected to %1 before.

Certificate fingerprint (SHA-256 of public key):
%2

Confirm this matches your controller (check the same fingerprint in UniFi OS ▸ Settings ▸ System, or via `openssl` locally) before trusting it. This value is pinned — future connections will be rejected if it ever changes unexpectedly.</source>
        <extracomment>%1 is the controller&apos;s host name or address, %2 the key&apos;s fingerprint in groups of four characters. &quot;UniFi OS ▸ Settings ▸ System&quot; names the controller&apos;s own menus: keep it as the controller shows it.</extracomment>
        <translation>Lanternfold no se ha conectado antes a %1.

Huella digital del certificado (SHA-256 de la clave pública):
%2

Confirme que coincide con su controlador (compruebe la misma huella en UniFi OS ▸ Settings ▸ System, o localmente con `openssl`) antes de confiar en él. Este valor queda fijado — las conexiones futuras se rechazarán si alguna vez cambia de forma inesperada.</translation>
    </message>
    <message>
        <source>Trust &amp; Continue</source>
        <extracomment>Button that trusts the controller&apos;s key. The &quot;&amp;&quot; is shown as it is, not as a shortcut marker.</extracomment>
        <translation>Confiar y continuar</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button that declines the controller&apos;s key.</extracomment>
        <translation>Cancelar</translation>
    </message>
</context>
<context>
    <name>lanternfold::ContentView</name>
    <message>
        <source>Devices</source>
        <extracomment>Tab title: the access points and cameras of the controller</extracomment>
        <translation>Dispositivos</translation>
    </message>
    <message>
        <source>Schedules</source>
        <extracomment>Tab title: the scheduled restarts</extracomment>
        <translation>Programaciones</translation>
    </message>
    <message>
        <source>Settings</source>
        <extracomment>Tab title</extracomment>
        <translation>Ajustes</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListModel</name>
    <message>
        <source>Access Points (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many access points it holds</extracomment>
        <translation>Puntos de acceso (%1)</translation>
    </message>
    <message>
        <source>Cameras (%1)</source>
        <extracomment>Section heading of the device list; %1 is how many cameras it holds</extracomment>
        <translation>Cámaras (%1)</translation>
    </message>
</context>
<context>
    <name>lanternfold::DeviceListView</name>
    <message>
        <source>Devices</source>
        <extracomment>Heading of the Devices tab</extracomment>
        <translation>Dispositivos</translation>
    </message>
    <message>
        <source>Refresh</source>
        <extracomment>Button: loads the device lists from the controller again</extracomment>
        <translation>Actualizar</translation>
    </message>
    <message>
        <source>Wait for each device to come back</source>
        <translation>Esperar a que cada dispositivo vuelva</translation>
    </message>
    <message>
        <source>Restart Selected</source>
        <translation>Reiniciar selección</translation>
    </message>
    <message>
        <source>%1 selected</source>
        <extracomment>%1 is how many devices are selected in the list</extracomment>
        <translation>Seleccionados: %1</translation>
    </message>
    <message>
        <source>%1 ok, %2 failed.</source>
        <extracomment>After a restart run: %1 devices restarted, %2 did not</extracomment>
        <translation>%1 con éxito, %2 con error.</translation>
    </message>
    <message>
        <source>Restarted %1 device(s).</source>
        <translation>Se reiniciaron %1 dispositivo(s).</translation>
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
        <translation>Se agotó el tiempo de espera de la solicitud.</translation>
    </message>
</context>
<context>
    <name>lanternfold::HttpTransport</name>
    <message>
        <source>The request timed out.</source>
        <translation>Se agotó el tiempo de espera de la solicitud.</translation>
    </message>
    <message>
        <source>The connection was closed.</source>
        <translation>Se cerró la conexión.</translation>
    </message>
    <message>
        <source>The request could not be made: a header holds a line break.</source>
        <translation>No se pudo realizar la solicitud: una cabecera contiene un salto de línea.</translation>
    </message>
</context>
<context>
    <name>lanternfold::JobRow</name>
    <message>
        <source>%1 · waits for each device</source>
        <extracomment>%1 is when the job runs (&quot;Daily at 03:00&quot;); added when the job waits for its devices to come back online</extracomment>
        <translation>%1 · espera a cada dispositivo</translation>
    </message>
    <message>
        <source>%1 · %2</source>
        <extracomment>%1 is the site&apos;s name, %2 the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;)</extracomment>
        <translation>%1 · %2</translation>
    </message>
    <message>
        <source>Next: %1</source>
        <extracomment>%1 is the date and time of the job&apos;s next run</extracomment>
        <translation>Próxima: %1</translation>
    </message>
    <message>
        <source>Last: %1</source>
        <extracomment>%1 is the date and time the job last ran</extracomment>
        <translation>Última: %1</translation>
    </message>
    <message>
        <source>%1 device(s): %2</source>
        <extracomment>%1 is how many devices the job restarts, %2 the names of the first few, separated by commas</extracomment>
        <translation>%1 dispositivo(s): %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::LanternfoldApp</name>
    <message>
        <source>Lanternfold keeps running in the background. Launch it again to open the window.</source>
        <translation>Lanternfold sigue ejecutándose en segundo plano. Vuelva a abrirlo para mostrar la ventana.</translation>
    </message>
</context>
<context>
    <name>lanternfold::LoginView</name>
    <message>
        <source>Connect</source>
        <extracomment>Button: logs in to the controller</extracomment>
        <translation>Conectar</translation>
    </message>
    <message>
        <source>Credentials are sent directly to your controller over your LAN and stored only in your system keyring. The controller&apos;s TLS certificate is pinned on first connect — see Settings to review or reset it.</source>
        <translation>Las credenciales se envían directamente a su controlador a través de su red local y se guardan solo en el llavero del sistema. El certificado TLS del controlador se fija en la primera conexión — consulte Ajustes para revisarlo o restablecerlo.</translation>
    </message>
    <message>
        <source>Lanternfold</source>
        <extracomment>The program&apos;s name, above the login form</extracomment>
        <translation>Lanternfold</translation>
    </message>
    <message>
        <source>Connect to your local UniFi controller</source>
        <translation>Conéctese a su controlador UniFi local</translation>
    </message>
    <message>
        <source>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</source>
        <extracomment>Controller type: a console that runs UniFi OS; the names in brackets are Ubiquiti products</extracomment>
        <translation>UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)</translation>
    </message>
    <message>
        <source>Classic (self-hosted Network Application)</source>
        <extracomment>Controller type: the Network Application installed on one&apos;s own server</extracomment>
        <translation>Clásico (Network Application en servidor propio)</translation>
    </message>
    <message>
        <source>Controller type</source>
        <translation>Tipo de controlador</translation>
    </message>
    <message>
        <source>192.168.1.1</source>
        <extracomment>Example address shown in the empty host field</extracomment>
        <translation>192.168.1.1</translation>
    </message>
    <message>
        <source>Controller IP or hostname</source>
        <translation>IP o nombre de host del controlador</translation>
    </message>
    <message>
        <source>Port</source>
        <extracomment>Form label: the controller&apos;s network port</extracomment>
        <translation>Puerto</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Usuario</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Contraseña</translation>
    </message>
    <message>
        <source>Remember password in keyring</source>
        <translation>Recordar la contraseña en el llavero</translation>
    </message>
</context>
<context>
    <name>lanternfold::RuleType</name>
    <message>
        <source>Once</source>
        <extracomment>How often a schedule repeats: it runs a single time</extracomment>
        <translation>Una vez</translation>
    </message>
    <message>
        <source>Daily</source>
        <extracomment>How often a schedule repeats: every day</extracomment>
        <translation>Diaria</translation>
    </message>
    <message>
        <source>Weekly</source>
        <extracomment>How often a schedule repeats: on chosen days of the week</extracomment>
        <translation>Semanal</translation>
    </message>
    <message>
        <source>Every N Hours</source>
        <extracomment>How often a schedule repeats: at a fixed number of hours apart</extracomment>
        <translation>Cada N horas</translation>
    </message>
</context>
<context>
    <name>lanternfold::RunNotifier</name>
    <message>
        <source>Lanternfold needs the controller password again: the saved one was refused.</source>
        <translation>Lanternfold necesita de nuevo la contraseña del controlador: la guardada fue rechazada.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tarea programada «%1» omitida — confirme primero el certificado del controlador en Lanternfold.</translation>
    </message>
    <message>
        <source>Couldn&apos;t run &apos;%1&apos;: not connected to the controller.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>No se pudo ejecutar «%1»: sin conexión con el controlador.</translation>
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
        <translation>Editar programación</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Nueva programación</translation>
    </message>
    <message>
        <source>Restart Devices</source>
        <extracomment>The name a new schedule starts with</extracomment>
        <translation>Reiniciar dispositivos</translation>
    </message>
    <message>
        <source>Cancel</source>
        <extracomment>Button: closes the editor without saving</extracomment>
        <translation>Cancelar</translation>
    </message>
    <message>
        <source>Save</source>
        <extracomment>Button: saves the changes to an existing schedule</extracomment>
        <translation>Guardar</translation>
    </message>
    <message>
        <source>Create</source>
        <extracomment>Button: adds the new schedule</extracomment>
        <translation>Crear</translation>
    </message>
    <message>
        <source>Name</source>
        <extracomment>Section heading: the schedule&apos;s name</extracomment>
        <translation>Nombre</translation>
    </message>
    <message>
        <source>Schedule name</source>
        <translation>Nombre de la programación</translation>
    </message>
    <message>
        <source>Devices</source>
        <extracomment>Section heading: the devices the schedule restarts</extracomment>
        <translation>Dispositivos</translation>
    </message>
    <message>
        <source>No devices loaded. Connect and refresh from the Devices tab first.</source>
        <translation>No hay dispositivos cargados. Conéctese y actualice primero desde la pestaña Dispositivos.</translation>
    </message>
    <message>
        <source>Repeats</source>
        <extracomment>Section heading: when and how often the schedule runs</extracomment>
        <translation>Repetición</translation>
    </message>
    <message>
        <source>Frequency</source>
        <extracomment>Form label: the choice between Once, Daily, Weekly and Every N Hours</extracomment>
        <translation>Frecuencia</translation>
    </message>
    <message>
        <source>Run at</source>
        <extracomment>Form label: the date and time of a schedule that runs once</extracomment>
        <translation>Ejecutar el</translation>
    </message>
    <message>
        <source>Time</source>
        <extracomment>Form label: the time of day of a daily or weekly schedule</extracomment>
        <translation>Hora</translation>
    </message>
    <message>
        <source>Stagger</source>
        <extracomment>Section heading: the pause between restarting one device and the next</extracomment>
        <translation>Escalonado</translation>
    </message>
    <message>
        <source>Spacing out restarts avoids dropping wifi/camera coverage all at once.</source>
        <translation>Espaciar los reinicios evita perder toda la cobertura wifi/de cámaras a la vez.</translation>
    </message>
    <message>
        <source>Wait for each device to come back online</source>
        <translation>Esperar a que cada dispositivo vuelva a estar en línea</translation>
    </message>
    <message>
        <source> minutes</source>
        <extracomment>Unit after the number of a spin box (&quot;10 minutes&quot;); keep the leading space</extracomment>
        <translation> minutos</translation>
    </message>
    <message>
        <source>up to</source>
        <extracomment>Form label before the longest wait for a device (&quot;up to 10 minutes&quot;)</extracomment>
        <translation>hasta</translation>
    </message>
    <message>
        <source>Stop the job</source>
        <extracomment>What happens when a device is not back online in time: the run ends there</extracomment>
        <translation>Detener la tarea</translation>
    </message>
    <message>
        <source>Continue with the next device</source>
        <extracomment>What happens when a device is not back online in time: the run goes on</extracomment>
        <translation>Continuar con el siguiente dispositivo</translation>
    </message>
    <message>
        <source>If one does not come back:</source>
        <translation>Si alguno no vuelve:</translation>
    </message>
    <message>
        <source>%1
These devices are on site &apos;%2&apos;. Choose that site in Settings to change them.</source>
        <extracomment>%1 is the job&apos;s devices (&quot;5 device(s): A, B, C…&quot;), %2 the name of the site they are on</extracomment>
        <translation>%1
Estos dispositivos están en el sitio «%2». Elija ese sitio en Ajustes para modificarlos.</translation>
    </message>
    <message>
        <source>Every %1 hour</source>
        <extracomment>Label beside the number of hours between two runs, when it is one</extracomment>
        <translation>Cada %1 hora</translation>
    </message>
    <message>
        <source>First run will be %1 hour after saving.</source>
        <translation>La primera ejecución será %1 hora después de guardar.</translation>
    </message>
    <message>
        <source>Every %1 hours</source>
        <extracomment>Label beside the number of hours between two runs</extracomment>
        <translation>Cada %1 horas</translation>
    </message>
    <message>
        <source>First run will be %1 hours after saving.</source>
        <translation>La primera ejecución será %1 horas después de guardar.</translation>
    </message>
    <message>
        <source>%1 seconds between each device</source>
        <extracomment>%1 is the pause, in seconds, between restarting one device and the next</extracomment>
        <translation>%1 segundos entre cada dispositivo</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListPlaceholder</name>
    <message>
        <source>No Scheduled Restarts</source>
        <translation>No hay reinicios programados</translation>
    </message>
    <message>
        <source>Create a schedule to power-cycle access points or cameras automatically.</source>
        <translation>Cree una programación para reiniciar automáticamente puntos de acceso o cámaras.</translation>
    </message>
</context>
<context>
    <name>lanternfold::ScheduleListView</name>
    <message>
        <source>Schedules</source>
        <extracomment>Heading of the Schedules tab</extracomment>
        <translation>Programaciones</translation>
    </message>
    <message>
        <source>New Schedule</source>
        <translation>Nueva programación</translation>
    </message>
    <message>
        <source>Delete</source>
        <extracomment>Menu item of a schedule row: removes the selected schedules</extracomment>
        <translation>Eliminar</translation>
    </message>
</context>
<context>
    <name>lanternfold::SchedulerEngine</name>
    <message>
        <source>System clock changed; next runs recomputed.</source>
        <translation>El reloj del sistema cambió; se recalcularon las próximas ejecuciones.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — confirm the controller&apos;s certificate in Lanternfold first.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tarea programada «%1» omitida — confirme primero el certificado del controlador en Lanternfold.</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos; skipped — not logged in and auto-reconnect failed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>Tarea programada «%1» omitida — sin sesión iniciada y la reconexión automática falló.</translation>
    </message>
    <message>
        <source>Interrupted run of &apos;%1&apos; closed as missed.</source>
        <extracomment>%1 is the name of the scheduled job.</extracomment>
        <translation>La ejecución interrumpida de «%1» se cerró como no realizada.</translation>
    </message>
    <message>
        <source>Resumed &apos;%1&apos; after an interruption: %2 of %3 device(s) were already restarted.</source>
        <extracomment>%1 is the name of the scheduled job; %2 of its %3 devices were restarted before the interruption.</extracomment>
        <translation>Se reanudó «%1» tras una interrupción: ya se habían reiniciado %2 de %3 dispositivo(s).</translation>
    </message>
    <message>
        <source>Running scheduled job &apos;%1&apos; (%2 device(s))</source>
        <extracomment>%1 is the name of the scheduled job, %2 the number of devices it restarts now.</extracomment>
        <translation>Ejecutando la tarea programada «%1» (%2 dispositivo(s))</translation>
    </message>
    <message>
        <source>Scheduled job &apos;%1&apos;: %2</source>
        <extracomment>%1 is the name of the scheduled job, %2 what its run did.</extracomment>
        <translation>Tarea programada «%1»: %2</translation>
    </message>
</context>
<context>
    <name>lanternfold::SettingsView</name>
    <message>
        <source>Controller</source>
        <extracomment>Section heading: the controller this program connects to</extracomment>
        <translation>Controlador</translation>
    </message>
    <message>
        <source>Not connected.</source>
        <translation>Sin conexión.</translation>
    </message>
    <message>
        <source>Security</source>
        <extracomment>Section heading</extracomment>
        <translation>Seguridad</translation>
    </message>
    <message>
        <source>Forget Pinned Certificate</source>
        <translation>Olvidar certificado fijado</translation>
    </message>
    <message>
        <source>Only do this if you&apos;ve reset, replaced, or re-adopted your controller — you&apos;ll be asked to re-verify the new certificate fingerprint on next connect.</source>
        <translation>Hágalo solo si ha restablecido, sustituido o vuelto a adoptar su controlador — se le pedirá que verifique la huella digital del nuevo certificado en la próxima conexión.</translation>
    </message>
    <message>
        <source>Background Scheduling</source>
        <translation>Programación en segundo plano</translation>
    </message>
    <message>
        <source>Launch Lanternfold at login</source>
        <translation>Abrir Lanternfold al iniciar sesión</translation>
    </message>
    <message>
        <source>Schedules only fire while Lanternfold is running. Keep it running in the background (closing the window won&apos;t quit it) and enable launch-at-login so restarts keep happening after a reboot.</source>
        <translation>Las programaciones solo se ejecutan mientras Lanternfold está en marcha. Manténgalo en segundo plano (cerrar la ventana no lo finaliza) y active la apertura al iniciar sesión para que los reinicios continúen tras reiniciar el equipo.</translation>
    </message>
    <message>
        <source>Schedules are run by the background service.</source>
        <translation>Las programaciones las ejecuta el servicio en segundo plano.</translation>
    </message>
    <message>
        <source>Activity Log</source>
        <extracomment>Section heading: the list of what the program has done</extracomment>
        <translation>Registro de actividad</translation>
    </message>
    <message>
        <source>No activity yet.</source>
        <translation>Aún no hay actividad.</translation>
    </message>
    <message>
        <source>Host</source>
        <extracomment>Form label: the controller&apos;s address and port</extracomment>
        <translation>Host</translation>
    </message>
    <message>
        <source>Type</source>
        <extracomment>Form label: the kind of controller (UniFi OS or Classic)</extracomment>
        <translation>Tipo</translation>
    </message>
    <message>
        <source>Username</source>
        <translation>Usuario</translation>
    </message>
    <message>
        <source>Site</source>
        <extracomment>A UniFi site: one of the networks an account manages</extracomment>
        <translation>Sitio</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <extracomment>Button: logs out of the controller</extracomment>
        <translation>Desconectar</translation>
    </message>
    <message>
        <source>UniFi OS</source>
        <extracomment>Controller type: a console that runs UniFi OS (a product name)</extracomment>
        <translation>UniFi OS</translation>
    </message>
    <message>
        <source>Classic</source>
        <extracomment>Controller type: the self-hosted Network Application</extracomment>
        <translation>Clásico</translation>
    </message>
</context>
<context>
    <name>lanternfold::UnifiAPIClient</name>
    <message>
        <source>The answer could not be decoded.</source>
        <translation>No se pudo descodificar la respuesta.</translation>
    </message>
    <message>
        <source>camera id</source>
        <extracomment>Inserted into &quot;Unexpected %1 from controller: %2&quot;.</extracomment>
        <translation>ID de cámara</translation>
    </message>
    <message>
        <source>Unexpected MAC address from controller: %1</source>
        <extracomment>%1 is the MAC address as the controller gave it.</extracomment>
        <translation>Dirección MAC inesperada recibida del controlador: %1</translation>
    </message>
    <message>
        <source>A classic controller has no cameras.</source>
        <translation>Un controlador clásico no tiene cámaras.</translation>
    </message>
    <message>
        <source>Unexpected %1 from controller: %2</source>
        <extracomment>%1 names what was expected (such as &quot;camera id&quot;), %2 is the value the controller gave.</extracomment>
        <translation>%1 inesperado recibido del controlador: %2</translation>
    </message>
    <message>
        <source>The controller&apos;s CSRF token holds characters a request header cannot carry.</source>
        <translation>El token CSRF del controlador contiene caracteres que una cabecera de solicitud no puede llevar.</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Lanternfold is already running and busy; it will open its window when it can.</source>
        <translation>Lanternfold ya se está ejecutando y está ocupado; abrirá su ventana en cuanto pueda.</translation>
    </message>
</context>
</TS>
