<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
    <context>
        <name>QCommandLineParser</name>
        <message>
            <source>Options:</source>
            <translation>Optionen:</translation>
        </message>
        <message>
            <source>Missing value after '%1'.</source>
            <translation>Nach '%1' fehlt ein Wert.</translation>
        </message>
        <message>
            <source>Unexpected value after '%1'.</source>
            <translation>Nach '%1' steht ein unerwarteter Wert.</translation>
        </message>
    </context>
    <context>
        <name>Words</name>
        <message>
            <source>; did you mean "%1"?</source>
            <translation>; ist "%1" gemeint?</translation>
        </message>
        <message>
            <source>%1 events are not shown, because they came faster than they were taken</source>
            <translation>%1 Ereignisse werden nicht gezeigt, weil sie schneller kamen, als sie abgeholt wurden</translation>
        </message>
        <message>
            <source>the description</source>
            <translation>die Beschreibung</translation>
        </message>
        <message>
            <source>"services" is needed, an object with the names of the services</source>
            <translation>"services" wird gebraucht, ein Objekt mit den Namen der Dienste</translation>
        </message>
        <message>
            <source>%1 must be an object</source>
            <translation>%1 muss ein Objekt sein</translation>
        </message>
        <message>
            <source>"%1" is no part of %2</source>
            <translation>"%1" ist kein Teil von: %2</translation>
        </message>
        <message>
            <source>%1 must be a text</source>
            <translation>%1 muss ein Text sein</translation>
        </message>
        <message>
            <source>%1 must not be empty</source>
            <translation>%1 darf nicht leer sein</translation>
        </message>
        <message>
            <source>%1 must be a whole number from 0 to %2</source>
            <translation>%1 muss eine ganze Zahl von 0 bis %2 sein</translation>
        </message>
        <message>
            <source>%1 must be true or false</source>
            <translation>%1 muss true oder false sein</translation>
        </message>
        <message>
            <source>nothing is filled in here: %1</source>
            <translation>hier wird nichts eingesetzt: %1</translation>
        </message>
        <message>
            <source>%1 must be an object, or a text that is exactly one placeholder</source>
            <translation>%1 muss ein Objekt sein oder ein Text aus genau einem Platzhalter</translation>
        </message>
        <message>
            <source>the name of a service must not be empty</source>
            <translation>der Name eines Dienstes darf nicht leer sein</translation>
        </message>
        <message>
            <source>a service</source>
            <translation>ein Dienst</translation>
        </message>
        <message>
            <source>"replaceSettings" needs "settings" beside it</source>
            <translation>"replaceSettings" braucht "settings" neben sich</translation>
        </message>
        <message>
            <source>"commands" must be an object with the names of the commands</source>
            <translation>"commands" muss ein Objekt mit den Namen der Kommandos sein</translation>
        </message>
        <message>
            <source>a state</source>
            <translation>ein Zustand</translation>
        </message>
        <message>
            <source>a state needs a "text", a "type" or a "description"</source>
            <translation>ein Zustand braucht "text", "type" oder "description"</translation>
        </message>
        <message>
            <source>the "text" of a state must be a text, an object or a list</source>
            <translation>"text" eines Zustands muss ein Text, ein Objekt oder eine Liste sein</translation>
        </message>
        <message>
            <source>the "type" of a state</source>
            <translation>"type" eines Zustands</translation>
        </message>
        <message>
            <source>the "description" of a state</source>
            <translation>"description" eines Zustands</translation>
        </message>
        <message>
            <source>"settings" must be a list of objects with "group", "key" and "value"</source>
            <translation>"settings" muss eine Liste von Objekten mit "group", "key" und "value" sein</translation>
        </message>
        <message>
            <source>the setting %1 is there twice</source>
            <translation>die Einstellung %1 steht zweimal da</translation>
        </message>
        <message>
            <source>a setting</source>
            <translation>eine Einstellung</translation>
        </message>
        <message>
            <source>a setting needs a "key", a text that is not empty, and a "value"</source>
            <translation>eine Einstellung braucht "key", einen nicht leeren Text, und "value"</translation>
        </message>
        <message>
            <source>the "group" of a setting</source>
            <translation>"group" einer Einstellung</translation>
        </message>
        <message>
            <source>the name of a command must not be empty</source>
            <translation>der Name eines Kommandos darf nicht leer sein</translation>
        </message>
        <message>
            <source>"commandError" is never answered, because two services could then answer each other's errors without an end</source>
            <translation>"commandError" wird nie beantwortet, weil zwei Dienste einander sonst ohne Ende auf Fehler antworten könnten</translation>
        </message>
        <message>
            <source>a command needs at least one answer</source>
            <translation>ein Kommando braucht mindestens eine Antwort</translation>
        </message>
        <message>
            <source>this answer can never be chosen, because one before it has no "when"</source>
            <translation>diese Antwort kann nie gewählt werden, weil eine vor ihr kein "when" hat</translation>
        </message>
        <message>
            <source>a command with a "sequence"</source>
            <translation>ein Kommando mit "sequence"</translation>
        </message>
        <message>
            <source>a "sequence" must be a list of answers that is not empty</source>
            <translation>"sequence" muss eine nicht leere Liste von Antworten sein</translation>
        </message>
        <message>
            <source>"then" must be "repeat-last", "cycle" or "error"</source>
            <translation>"then" muss "repeat-last", "cycle" oder "error" sein</translation>
        </message>
        <message>
            <source>"when" must be an object with keys of the command's data, and their values</source>
            <translation>"when" muss ein Objekt mit Schlüsseln der Daten des Kommandos und deren Werten sein</translation>
        </message>
        <message>
            <source>an answer</source>
            <translation>eine Antwort</translation>
        </message>
        <message>
            <source>"delay", in ms,</source>
            <translation>"delay", in ms,</translation>
        </message>
        <message>
            <source>an answer needs one of "reply", "error" and "silence"</source>
            <translation>eine Antwort braucht "reply", "error" oder "silence"</translation>
        </message>
        <message>
            <source>a "reply"</source>
            <translation>ein "reply"</translation>
        </message>
        <message>
            <source>the "name" of a reply</source>
            <translation>"name" einer Antwort</translation>
        </message>
        <message>
            <source>the "data" of a reply</source>
            <translation>"data" einer Antwort</translation>
        </message>
        <message>
            <source>"silence" must be true</source>
            <translation>"silence" muss true sein</translation>
        </message>
        <message>
            <source>a command to "send"</source>
            <translation>ein Kommando in "send"</translation>
        </message>
        <message>
            <source>a command to "send" needs "to" and "name"</source>
            <translation>ein Kommando in "send" braucht "to" und "name"</translation>
        </message>
        <message>
            <source>the "to" of a command to send</source>
            <translation>"to" eines zu sendenden Kommandos</translation>
        </message>
        <message>
            <source>the "name" of a command to send</source>
            <translation>"name" eines zu sendenden Kommandos</translation>
        </message>
        <message>
            <source>the "data" of a command to send</source>
            <translation>"data" eines zu sendenden Kommandos</translation>
        </message>
        <message>
            <source>cannot be read: %1</source>
            <translation>kann nicht gelesen werden: %1</translation>
        </message>
        <message>
            <source>is larger than 16 MiB</source>
            <translation>ist größer als 16 MiB</translation>
        </message>
        <message>
            <source>this is no JSON: %1</source>
            <translation>das ist kein JSON: %1</translation>
        </message>
        <message>
            <source>%1 is too large to travel exactly as a number</source>
            <translation>%1 ist zu groß, um genau als Zahl übertragen zu werden</translation>
        </message>
        <message>
            <source>this is no UTF-8</source>
            <translation>das ist kein UTF-8</translation>
        </message>
        <message>
            <source>this is no JSON that can be read: it is nested too deeply</source>
            <translation>das ist kein lesbares JSON: es ist zu tief verschachtelt</translation>
        </message>
        <message>
            <source>a placeholder has no "}"; write "$${" for a "${" that is none</source>
            <translation>einem Platzhalter fehlt "}"; für ein "${", das keiner ist, "$${" schreiben</translation>
        </message>
        <message>
            <source>there is no placeholder "${%1}"</source>
            <translation>es gibt keinen Platzhalter "${%1}"</translation>
        </message>
        <message>
            <source>the connection for receiving cannot be made</source>
            <translation>die Empfangsverbindung kommt nicht zustande</translation>
        </message>
        <message>
            <source>the bus refuses the connection for receiving</source>
            <translation>der Bus lehnt die Empfangsverbindung ab</translation>
        </message>
        <message>
            <source>the bus does not answer on the connection for receiving</source>
            <translation>der Bus antwortet auf der Empfangsverbindung nicht</translation>
        </message>
        <message>
            <source>the bus has closed the connection</source>
            <translation>der Bus hat die Verbindung geschlossen</translation>
        </message>
        <message>
            <source>the bus refuses to save the settings: %1</source>
            <translation>der Bus lehnt es ab, die Einstellungen zu speichern: %1</translation>
        </message>
        <message>
            <source>the bus refuses to load the settings: %1</source>
            <translation>der Bus lehnt es ab, die Einstellungen zu laden: %1</translation>
        </message>
        <message>
            <source>the bus refuses to save the state: %1</source>
            <translation>der Bus lehnt es ab, den Zustand zu speichern: %1</translation>
        </message>
        <message>
            <source>the bus is away for too long, and the oldest answer was dropped</source>
            <translation>der Bus ist zu lange weg; die älteste Antwort wurde verworfen</translation>
        </message>
        <message>
            <source>the bus refuses to take an answer: %1</source>
            <translation>der Bus lehnt es ab, eine Antwort anzunehmen: %1</translation>
        </message>
        <message>
            <source>; there are: %1</source>
            <translation>; es gibt: %1</translation>
        </message>
        <message>
            <source>port %1 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again</source>
            <translation>Port %1 auf 127.0.0.1 ist belegt: läuft dort ein anderer Bus? Diesen beenden und dann neu versuchen</translation>
        </message>
        <message>
            <source>cannot listen on 127.0.0.1 port %1: %2</source>
            <translation>kann nicht auf 127.0.0.1 Port %1 lauschen: %2</translation>
        </message>
        <message>
            <source>cannot use the storage "%1": %2</source>
            <translation>kann den Speicher "%1" nicht verwenden: %2</translation>
        </message>
        <message>
            <source>the storage fails: %1 (told once a minute)</source>
            <translation>der Speicher versagt: %1 (höchstens einmal je Minute gemeldet)</translation>
        </message>
        <message>
            <source>refused a connection: there are %1 already</source>
            <translation>eine Verbindung wurde abgelehnt: es gibt schon %1</translation>
        </message>
        <message>
            <source>Store in &lt;file&gt;; it is created when it does not exist, its folder is not.</source>
            <translation>In &lt;file&gt; speichern; die Datei wird bei Bedarf angelegt, ihr Ordner nicht.</translation>
        </message>
        <message>
            <source>Store in memory: everything is gone when the program ends.</source>
            <translation>Im Arbeitsspeicher speichern: am Ende des Programms ist alles weg.</translation>
        </message>
        <message>
            <source>Keep the last frames for those who watch the bus, up to &lt;MiB&gt; of them. Default: 16</source>
            <translation>Die letzten Frames für Beobachter des Busses aufheben, bis zu &lt;MiB&gt;. Vorgabe: 16</translation>
        </message>
        <message>
            <source>Keep at most &lt;number&gt; messages for each absent client; the oldest go first. Default: 1000</source>
            <translation>Für jeden abwesenden Client höchstens &lt;number&gt; Nachrichten aufheben; die ältesten gehen zuerst. Vorgabe: 1000</translation>
        </message>
        <message>
            <source>Bring about a fault on purpose; may be repeated. See below.</source>
            <translation>Absichtlich einen Fehler auslösen; darf mehrfach stehen. Siehe unten.</translation>
        </message>
        <message>
            <source>Show every frame, decoded, on stderr.</source>
            <translation>Jeden Frame dekodiert auf stderr zeigen.</translation>
        </message>
        <message>
            <source>Show the traffic on a page at &lt;port&gt; of 127.0.0.1; 0 lets the system choose the port.</source>
            <translation>Den Verkehr auf einer Seite an &lt;port&gt; von 127.0.0.1 zeigen; bei 0 wählt das System den Port.</translation>
        </message>
        <message>
            <source>Show this text and exit.</source>
            <translation>Diesen Text zeigen und enden.</translation>
        </message>
        <message>
            <source>Show the version and exit.</source>
            <translation>Die Version zeigen und enden.</translation>
        </message>
        <message>
            <source>The development bus server: a Tarvex bus for desks and tests, on 127.0.0.1
ports 45535 and 45537. Not for devices.</source>
            <translation>Der Entwicklungsbus: ein Tarvex-Bus für Arbeitsplatz und Test, auf 127.0.0.1,
Ports 45535 und 45537. Nicht für Geräte.</translation>
        </message>
        <message>
            <source>%1; see --help</source>
            <translation>%1; siehe --help</translation>
        </message>
        <message>
            <source>--fault is given more than %1 times</source>
            <translation>--fault steht mehr als %1-mal da</translation>
        </message>
        <message>
            <source>--fault "%1": %2</source>
            <translation>--fault "%1": %2</translation>
        </message>
        <message>
            <source>unexpected argument "%1"</source>
            <translation>unerwartetes Argument "%1"</translation>
        </message>
        <message>
            <source>--storage and --memory exclude each other</source>
            <translation>--storage und --memory schließen einander aus</translation>
        </message>
        <message>
            <source>--storage needs the name of a file</source>
            <translation>--storage braucht den Namen einer Datei</translation>
        </message>
        <message>
            <source>--keep must be a whole number from 0 to %1, not "%2"</source>
            <translation>--keep muss eine ganze Zahl von 0 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>--frames must be a whole number from 1 to %1, not "%2"</source>
            <translation>--frames muss eine ganze Zahl von 1 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>--http must be a port from 0 to 65535, not "%1"</source>
            <translation>--http muss ein Port von 0 bis 65535 sein, nicht "%1"</translation>
        </message>
        <message>
            <source>unknown option "-%1"</source>
            <translation>unbekannte Option "-%1"</translation>
        </message>
        <message>
            <source>unknown option "--%1"</source>
            <translation>unbekannte Option "--%1"</translation>
        </message>
        <message>
            <source>--%1 is given more than once</source>
            <translation>--%1 steht mehr als einmal da</translation>
        </message>
        <message>
            <source>Usage: tarvex-devbus [options]
%1

Without --storage and --memory it stores in
%2

A rule for a fault is words with blanks between them, "do=EFFECT" among them,
such as "client=printer operation=loadState nth=3 do=delay:500".
Words:
%3
Effects:
%4

Exit status:
  0  ended by SIGTERM or SIGINT; after --help and --version
  1  it could not start, or stdout could not be written
  2  wrong use</source>
            <translation>Aufruf: tarvex-devbus [Optionen]
%1

Ohne --storage und --memory wird gespeichert in
%2

Die Regel eines Fehlers besteht aus Wörtern mit Leerzeichen dazwischen, darunter
"do=EFFECT", etwa "client=printer operation=loadState nth=3 do=delay:500".
Wörter:
%3
Wirkungen:
%4

Exit-Status:
  0  durch SIGTERM oder SIGINT beendet; nach --help und --version
  1  konnte nicht starten, oder stdout war nicht beschreibbar
  2  falscher Aufruf</translation>
        </message>
        <message>
            <source>an argument is no text</source>
            <translation>ein Argument ist kein Text</translation>
        </message>
        <message>
            <source>dropped the oldest %1 of more than %2 messages that wait for "%3"</source>
            <translation>die ältesten %1 von mehr als %2 Nachrichten, die auf "%3" warten, wurden verworfen</translation>
        </message>
        <message>
            <source>cannot write to stdout: %1</source>
            <translation>kann nicht auf stdout schreiben: %1</translation>
        </message>
        <message>
            <source>cannot create the folder "%1"</source>
            <translation>kann den Ordner "%1" nicht anlegen</translation>
        </message>
        <message>
            <source>fault %1: %2</source>
            <translation>Fehler %1: %2</translation>
        </message>
        <message>
            <source>cannot open the control socket: %1</source>
            <translation>kann das Steuersocket nicht öffnen: %1</translation>
        </message>
        <message>
            <source>cannot watch for SIGTERM and SIGINT: %1</source>
            <translation>kann SIGTERM und SIGINT nicht überwachen: %1</translation>
        </message>
        <message>
            <source>a second receiver connection took the name "%1", and the first one was closed; does this service run twice?</source>
            <translation>eine zweite Empfangsverbindung hat den Namen "%1" übernommen, und die erste wurde geschlossen; läuft dieser Dienst zweimal?</translation>
        </message>
        <message numerus="yes">
            <source>a second receiver connection took the name "%1", and the first one was closed (%n times since the last warning); does this service run twice?</source>
            <translation>
                <numerusform>eine zweite Empfangsverbindung hat den Namen "%1" übernommen, und die erste wurde geschlossen (%n-mal seit der letzten Warnung); läuft dieser Dienst zweimal?</numerusform>
                <numerusform>eine zweite Empfangsverbindung hat den Namen "%1" übernommen, und die erste wurde geschlossen (%n-mal seit der letzten Warnung); läuft dieser Dienst zweimal?</numerusform>
            </translation>
        </message>
        <message>
            <source>an argument is no UTF-8 text: %1</source>
            <translation>ein Argument ist kein UTF-8-Text: %1</translation>
        </message>
        <message>
            <source>a reply that is damaged, or not to what was asked</source>
            <translation>eine Antwort, die beschädigt ist oder nicht zur Frage gehört</translation>
        </message>
        <message>
            <source>nothing but blanks</source>
            <translation>nur Leerzeichen</translation>
        </message>
        <message>
            <source>refused by the bus: %1</source>
            <translation>vom Bus abgelehnt: %1</translation>
        </message>
        <message>
            <source>request %1</source>
            <translation>Anfrage %1</translation>
        </message>
        <message>
            <source>request %1 %2</source>
            <translation>Anfrage %1 %2</translation>
        </message>
        <message>
            <source>acknowledgement of %1</source>
            <translation>Bestätigung von %1</translation>
        </message>
        <message>
            <source>cannot play the bus on port %1: %2; end the bus that is there first</source>
            <translation>kann den Bus auf Port %1 nicht spielen: %2; zuerst den dortigen Bus beenden</translation>
        </message>
        <message>
            <source>bad frame</source>
            <translation>fehlerhafter Frame</translation>
        </message>
        <message>
            <source>"%1" is not played; its handshake is refused</source>
            <translation>"%1" wird nicht gespielt; sein Handshake wird abgelehnt</translation>
        </message>
        <message>
            <source>something is there, but does not answer</source>
            <translation>etwas ist da, antwortet aber nicht</translation>
        </message>
        <message>
            <source>no bus has answered within %1: %2</source>
            <translation>innerhalb von %1 hat kein Bus geantwortet: %2</translation>
        </message>
        <message>
            <source>cannot start %1: %2</source>
            <translation>kann %1 nicht starten: %2</translation>
        </message>
        <message>
            <source>%1 is not installed: it is neither beside this program nor on the PATH</source>
            <translation>%1 ist nicht installiert: es liegt weder neben diesem Programm noch im PATH</translation>
        </message>
        <message>
            <source>no pipe to %1: %2</source>
            <translation>keine Pipe zu %1: %2</translation>
        </message>
        <message>
            <source>%1 has crashed</source>
            <translation>%1 ist abgestürzt</translation>
        </message>
        <message>
            <source>cannot read what %1 has captured: %2</source>
            <translation>kann den Mitschnitt von %1 nicht lesen: %2</translation>
        </message>
        <message>
            <source>there is no client "%1" so far%2</source>
            <translation>es gibt bisher keinen Client "%1"%2</translation>
        </message>
        <message>
            <source>reply to %1</source>
            <translation>Antwort auf %1</translation>
        </message>
        <message>
            <source>pushed message</source>
            <translation>zugestellte Nachricht</translation>
        </message>
        <message>
            <source>push of %1</source>
            <translation>Zustellung von %1</translation>
        </message>
        <message>
            <source>request %1, which was not sent</source>
            <translation>Anfrage %1, die nicht gesendet wurde</translation>
        </message>
        <message>
            <source>nobody has accepted the connection in time</source>
            <translation>niemand hat die Verbindung rechtzeitig angenommen</translation>
        </message>
        <message>
            <source>next: %1</source>
            <translation>nächster: %1</translation>
        </message>
        <message>
            <source>the bus has not replied to #%1, %2 of %3, in time</source>
            <translation>der Bus hat auf #%1, %2 von %3, nicht rechtzeitig geantwortet</translation>
        </message>
        <message>
            <source>no bus to be reached on 127.0.0.1: %1</source>
            <translation>kein Bus auf 127.0.0.1 erreichbar: %1</translation>
        </message>
        <message>
            <source>end of the %1 connection</source>
            <translation>Ende der Verbindung (%1)</translation>
        </message>
        <message>
            <source>a connection of %1 to the bus was lost: %2</source>
            <translation>eine Verbindung von %1 zum Bus ging verloren: %2</translation>
        </message>
        <message>
            <source>Talks to the local Tarvex bus: settings, states and messages of its clients.</source>
            <translation>Spricht mit dem lokalen Tarvex-Bus: Einstellungen, Zustände und Nachrichten seiner Clients.</translation>
        </message>
        <message>
            <source>--as, --json, --quiet and --wait-for-bus may stand before the verb or after it; what follows -- is never an option. Times are local, as the clients wrote them.</source>
            <translation>--as, --json, --quiet und --wait-for-bus dürfen vor oder nach dem Verb stehen; was hinter -- steht, ist nie eine Option. Zeiten sind Ortszeiten, wie die Clients sie geschrieben haben.</translation>
        </message>
        <message>
            <source>Without --as the name is "tarvexctl-" and the process id. With --as and the name of a service, that service loses its connection and its messages to this program.</source>
            <translation>Ohne --as ist der Name "tarvexctl-" mit der Prozessnummer. Mit --as und dem Namen eines Dienstes verliert dieser Dienst seine Verbindung und seine Nachrichten an dieses Programm.</translation>
        </message>
        <message>
            <source>tarvexctl %1, built %2
</source>
            <translation>tarvexctl %1, gebaut %2
</translation>
        </message>
        <message>
            <source>%1 is given more than once</source>
            <translation>%1 steht mehr als einmal da</translation>
        </message>
        <message>
            <source>Shows this text</source>
            <translation>Zeigt diesen Text</translation>
        </message>
        <message>
            <source>The name to introduce oneself with</source>
            <translation>Der Name, unter dem sich das Programm vorstellt</translation>
        </message>
        <message>
            <source>Writes one JSON object a line</source>
            <translation>Schreibt je Zeile ein JSON-Objekt</translation>
        </message>
        <message>
            <source>Says nothing on stderr except what failed</source>
            <translation>Sagt auf stderr nur, was misslungen ist</translation>
        </message>
        <message>
            <source>Colours: auto (on a terminal, unless NO_COLOR is set), always or never</source>
            <translation>Farben: auto (auf einem Terminal, außer wenn NO_COLOR gesetzt ist), always oder never</translation>
        </message>
        <message>
            <source>Shows the version and when it was built</source>
            <translation>Zeigt die Version und wann sie gebaut wurde</translation>
        </message>
        <message>
            <source>%1 stands after "%2 %3"</source>
            <translation>%1 steht hinter "%2 %3"</translation>
        </message>
        <message>
            <source>--color must be auto, always or never, not "%1"</source>
            <translation>--color muss auto, always oder never sein, nicht "%1"</translation>
        </message>
        <message>
            <source>First waits up to so many seconds until a bus answers</source>
            <translation>Wartet zuerst so viele Sekunden, bis ein Bus antwortet</translation>
        </message>
        <message>
            <source>the bus refused the handshake of "%1"</source>
            <translation>der Bus hat den Handshake von "%1" abgelehnt</translation>
        </message>
        <message>
            <source>the bus closed the connection during the handshake</source>
            <translation>der Bus hat die Verbindung während des Handshakes geschlossen</translation>
        </message>
        <message>
            <source>the bus closed the connection</source>
            <translation>der Bus hat die Verbindung geschlossen</translation>
        </message>
        <message>
            <source>the bus is there, but nothing came within 30 s</source>
            <translation>der Bus ist da, aber innerhalb von 30 s kam nichts</translation>
        </message>
        <message>
            <source>what answered is no reply of the bus: %1</source>
            <translation>was geantwortet hat, ist keine Antwort des Busses: %1</translation>
        </message>
        <message>
            <source>what answered is no reply of the bus</source>
            <translation>was geantwortet hat, ist keine Antwort des Busses</translation>
        </message>
        <message>
            <source>this bus cannot tell who is there: only a development bus of the same user can</source>
            <translation>dieser Bus kann nicht sagen, wer da ist: das kann nur ein Entwicklungsbus desselben Benutzers</translation>
        </message>
        <message>
            <source>nobody has ever been "%1" on this bus, as far as it knows; it treats the message like one for any absent client%2</source>
            <translation>auf diesem Bus war nie jemand "%1", soweit er weiß; er behandelt die Nachricht wie eine für jeden abwesenden Client%2</translation>
        </message>
        <message>
            <source>this bus does not show its frames: only a development bus of the same user does; --capture reads those of any bus from the network</source>
            <translation>dieser Bus zeigt seine Frames nicht: das tut nur ein Entwicklungsbus desselben Benutzers; --capture liest die jedes Busses aus dem Netz</translation>
        </message>
        <message>
            <source>the bus is there, but its control socket does not answer</source>
            <translation>der Bus ist da, aber sein Steuersocket antwortet nicht</translation>
        </message>
        <message>
            <source>the bus is back</source>
            <translation>der Bus ist wieder da</translation>
        </message>
        <message>
            <source>the bus has gone; waiting for it to come back</source>
            <translation>der Bus ist weg; warte, bis er wiederkommt</translation>
        </message>
        <message>
            <source>%1 ms</source>
            <translation>%1 ms</translation>
        </message>
        <message>
            <source>See what the process that holds the port waits for (strace -p, gdb -p), and start it again if it hangs.</source>
            <translation>Nachsehen, worauf der Prozess wartet, der den Port hält (strace -p, gdb -p), und ihn neu starten, wenn er hängt.</translation>
        </message>
        <message>
            <source>Read what the bus has written to its stderr, and see storage below.</source>
            <translation>Lesen, was der Bus auf stderr geschrieben hat, und den Speicher unten ansehen.</translation>
        </message>
        <message>
            <source>See whether the bus has ended, and run doctor again.</source>
            <translation>Nachsehen, ob der Bus beendet ist, und doctor neu starten.</translation>
        </message>
        <message>
            <source>something listens on the %1 port and does not answer the handshake within %2</source>
            <translation>etwas lauscht auf dem Port %1 und antwortet innerhalb von %2 nicht auf den Handshake</translation>
        </message>
        <message>
            <source>on the %1 port: %2</source>
            <translation>auf dem Port %1: %2</translation>
        </message>
        <message>
            <source>See what the process that holds the port is, because this is not how a bus answers a handshake.</source>
            <translation>Nachsehen, welcher Prozess den Port hält, denn so antwortet ein Bus nicht auf einen Handshake.</translation>
        </message>
        <message>
            <source>the bus accepts the handshake on the %1 port</source>
            <translation>der Bus nimmt den Handshake auf dem Port %1 an</translation>
        </message>
        <message>
            <source>after the handshake: %1</source>
            <translation>nach dem Handshake: %1</translation>
        </message>
        <message>
            <source>the bus accepts the handshake, and has not answered all that was asked after it within %1</source>
            <translation>der Bus nimmt den Handshake an, hat aber danach innerhalb von %1 nicht alles beantwortet</translation>
        </message>
        <message>
            <source>the file of the program, or of the library, was replaced since the start of %1</source>
            <translation>die Datei des Programms oder der Bibliothek wurde ersetzt, seit %1 gestartet wurde</translation>
        </message>
        <message>
            <source>Start them again, so that they run what is installed.</source>
            <translation>Diese Programme neu starten, damit sie ausführen, was installiert ist.</translation>
        </message>
        <message>
            <source>1 exchange: half of them took %1 or less, the longest %2</source>
            <translation>1 Austausch: die Hälfte dauerte höchstens %1, der längste %2</translation>
        </message>
        <message numerus="yes">
            <source>%n exchanges: half of them took %1 or less, the longest %2</source>
            <translation>
                <numerusform>%n Austausch: die Hälfte dauerte höchstens %1, der längste %2</numerusform>
                <numerusform>%n Austausche: die Hälfte dauerte höchstens %1, der längste %2</numerusform>
            </translation>
        </message>
        <message>
            <source>See whether the machine, the bus or its storage is busy (top, iostat), because a bus that is not busy answers within a few milliseconds.</source>
            <translation>Nachsehen, ob Rechner, Bus oder Speicher ausgelastet sind (top, iostat), denn ein unbelasteter Bus antwortet in wenigen Millisekunden.</translation>
        </message>
        <message>
            <source>Run doctor again to see whether single exchanges stay slow: then something holds the bus up from time to time.</source>
            <translation>doctor noch einmal starten, um zu sehen, ob einzelne Austausche langsam bleiben: dann hält etwas den Bus zeitweise auf.</translation>
        </message>
        <message>
            <source>this bus has no control socket for this user: its version, who is missing, names taken twice, its storage and its start could not be looked at, and settings and states only of the names that the library knows</source>
            <translation>dieser Bus hat für diesen Benutzer kein Steuersocket: seine Version, wer fehlt, doppelt vergebene Namen, sein Speicher und sein Start konnten nicht geprüft werden, Einstellungen und Zustände nur für die Namen, die die Bibliothek kennt</translation>
        </message>
        <message>
            <source>On a desk, run doctor as the user who has started tarvex-devbus; another bus has no such socket.</source>
            <translation>Am Arbeitsplatz doctor als der Benutzer starten, der tarvex-devbus gestartet hat; ein anderer Bus hat kein solches Socket.</translation>
        </message>
        <message>
            <source>the control socket of the bus: %1</source>
            <translation>das Steuersocket des Busses: %1</translation>
        </message>
        <message>
            <source>See whether the bus hangs, or is older than this program.</source>
            <translation>Nachsehen, ob der Bus hängt oder älter ist als dieses Programm.</translation>
        </message>
        <message>
            <source>1 fault on purpose is set</source>
            <translation>1 absichtlicher Fehler ist gesetzt</translation>
        </message>
        <message numerus="yes">
            <source>%n faults on purpose are set</source>
            <translation>
                <numerusform>%n absichtlicher Fehler ist gesetzt</numerusform>
                <numerusform>%n absichtliche Fehler sind gesetzt</numerusform>
            </translation>
        </message>
        <message>
            <source>See with tarvexctl fault list whether they explain what else is told here, and remove them with tarvexctl fault clear.</source>
            <translation>Mit tarvexctl fault list nachsehen, ob sie erklären, was hier sonst steht, und sie mit tarvexctl fault clear entfernen.</translation>
        </message>
        <message>
            <source>tarvexctl has the library %1, the bus is of version %2</source>
            <translation>tarvexctl hat die Bibliothek %1, der Bus die Version %2</translation>
        </message>
        <message>
            <source>Install both from the same version, and start the bus again.</source>
            <translation>Beide aus derselben Version installieren und den Bus neu starten.</translation>
        </message>
        <message>
            <source>tarvexctl and the bus are of version %1</source>
            <translation>tarvexctl und der Bus haben die Version %1</translation>
        </message>
        <message>
            <source>1 message waits</source>
            <translation>1 Nachricht wartet</translation>
        </message>
        <message numerus="yes">
            <source>%n messages wait</source>
            <translation>
                <numerusform>%n Nachricht wartet</numerusform>
                <numerusform>%n Nachrichten warten</numerusform>
            </translation>
        </message>
        <message>
            <source>"%1" has never been there, and %2 for it</source>
            <translation>"%1" war noch nie da, und %2 darauf</translation>
        </message>
        <message>
            <source>"%1" has no receiving connection, and %2 for it</source>
            <translation>"%1" hat keine Empfangsverbindung, und %2 darauf</translation>
        </message>
        <message>
            <source>Look for this name in the services that send, because it may be mistyped; otherwise start that service.</source>
            <translation>Diesen Namen in den sendenden Diensten suchen, weil er ein Tippfehler sein kann; sonst diesen Dienst starten.</translation>
        </message>
        <message>
            <source>Start that service, or find out why it does not receive.</source>
            <translation>Diesen Dienst starten oder herausfinden, warum er nicht empfängt.</translation>
        </message>
        <message>
            <source>Nobody has ever been %1, so %1 may be mistyped.</source>
            <translation>Unter dem Namen %1 war nie jemand da, also kann %1 ein Tippfehler sein.</translation>
        </message>
        <message>
            <source>Nobody has ever been %1 and 1 other, so %1 may be mistyped.</source>
            <translation>Unter dem Namen %1 und 1 anderen war nie jemand da, also kann %1 ein Tippfehler sein.</translation>
        </message>
        <message numerus="yes">
            <source>Nobody has ever been %1 and %n others, so %1 may be mistyped.</source>
            <translation>
                <numerusform>Unter dem Namen %1 und %n anderen war nie jemand da, also kann %1 ein Tippfehler sein.</numerusform>
                <numerusform>Unter dem Namen %1 und %n anderen war nie jemand da, also kann %1 ein Tippfehler sein.</numerusform>
            </translation>
        </message>
        <message>
            <source>Start these services, or find out why they do not receive.</source>
            <translation>Diese Dienste starten oder herausfinden, warum sie nicht empfangen.</translation>
        </message>
        <message>
            <source>%1 for %2 clients that do not receive: %3 and %4 more</source>
            <translation>%1 auf %2 Clients, die nicht empfangen: %3 und %4 weitere</translation>
        </message>
        <message>
            <source>nobody receives the log, and %1 for "%2"</source>
            <translation>niemand empfängt das Protokoll, und %1 auf "%2"</translation>
        </message>
        <message>
            <source>Start the log service, or show the log with tarvexctl log --stand-in.</source>
            <translation>Den Protokolldienst starten oder das Protokoll mit tarvexctl log --stand-in zeigen.</translation>
        </message>
        <message>
            <source>%1 for tarvexctl itself, which has ended</source>
            <translation>%1 auf tarvexctl selbst, das beendet ist</translation>
        </message>
        <message>
            <source>Leave them, because they are answers to what was sent; or take them with tarvexctl --as %1 listen --timeout 1.</source>
            <translation>Sie liegen lassen, weil sie Antworten auf Gesendetes sind; oder sie mit tarvexctl --as %1 listen --timeout 1 abholen.</translation>
        </message>
        <message numerus="yes">
            <source>"%1" is there, and %n messages wait for it</source>
            <translation>
                <numerusform>"%1" ist da, und %n Nachricht wartet darauf</numerusform>
                <numerusform>"%1" ist da, und %n Nachrichten warten darauf</numerusform>
            </translation>
        </message>
        <message>
            <source>See whether that service hangs, or is slower than what is sent to it.</source>
            <translation>Nachsehen, ob dieser Dienst hängt oder langsamer ist, als ihm gesendet wird.</translation>
        </message>
        <message>
            <source>"%1" has no receiving connection and is still subscribed</source>
            <translation>"%1" hat keine Empfangsverbindung und ist noch Abonnent</translation>
        </message>
        <message>
            <source>Start that service, or let it unsubscribe, because the bus keeps for it what is published.</source>
            <translation>Diesen Dienst starten oder sein Abonnement beenden lassen, denn der Bus hebt für ihn auf, was veröffentlicht wird.</translation>
        </message>
        <message>
            <source>the same command line runs in several connected processes: %1 (%2)</source>
            <translation>dieselbe Kommandozeile läuft in mehreren verbundenen Prozessen: %1 (%2)</translation>
        </message>
        <message>
            <source>Check that they do not have the same name on the bus, and end all but one if they do.</source>
            <translation>Prüfen, dass sie auf dem Bus nicht denselben Namen haben, und sonst alle bis auf einen beenden.</translation>
        </message>
        <message>
            <source>two processes fight for the name "%1": it was taken again while doctor looked</source>
            <translation>zwei Prozesse streiten um den Namen "%1": er wurde wieder übernommen, während doctor hinsah</translation>
        </message>
        <message>
            <source>End one of the two processes, because each gets only a part of the messages.</source>
            <translation>Einen der beiden Prozesse beenden, weil jeder nur einen Teil der Nachrichten bekommt.</translation>
        </message>
        <message>
            <source>the name "%1" was taken from a connected process 1 time since the bus was started, but not within the last %2 s</source>
            <translation>der Name "%1" wurde einem verbundenen Prozess 1-mal weggenommen, seit der Bus gestartet wurde, aber nicht in den letzten %2 s</translation>
        </message>
        <message numerus="yes">
            <source>the name "%1" was taken from a connected process %n times since the bus was started, but not within the last %2 s</source>
            <translation>
                <numerusform>der Name "%1" wurde einem verbundenen Prozess %n-mal weggenommen, seit der Bus gestartet wurde, aber nicht in den letzten %2 s</numerusform>
                <numerusform>der Name "%1" wurde einem verbundenen Prozess %n-mal weggenommen, seit der Bus gestartet wurde, aber nicht in den letzten %2 s</numerusform>
            </translation>
        </message>
        <message>
            <source>Check that this service runs once, and that nobody uses its name with --as.</source>
            <translation>Prüfen, dass dieser Dienst nur einmal läuft und niemand seinen Namen mit --as benutzt.</translation>
        </message>
        <message>
            <source>1 client connected, and nothing waits for an absent one</source>
            <translation>1 Client ist verbunden, und nichts wartet auf einen abwesenden</translation>
        </message>
        <message numerus="yes">
            <source>%n clients connected, and nothing waits for an absent one</source>
            <translation>
                <numerusform>%n Client ist verbunden, und nichts wartet auf einen abwesenden</numerusform>
                <numerusform>%n Clients sind verbunden, und nichts wartet auf einen abwesenden</numerusform>
            </translation>
        </message>
        <message>
            <source>the bus did not tell for %1 s whether a name was taken again</source>
            <translation>der Bus hat %1 s lang nicht gesagt, ob ein Name wieder übernommen wurde</translation>
        </message>
        <message>
            <source>See what is wrong above, and run doctor again.</source>
            <translation>Nachsehen, was oben falsch ist, und doctor neu starten.</translation>
        </message>
        <message>
            <source>no name was taken from a connected process</source>
            <translation>kein Name wurde einem verbundenen Prozess weggenommen</translation>
        </message>
        <message>
            <source>it did not answer in time</source>
            <translation>es hat nicht rechtzeitig geantwortet</translation>
        </message>
        <message>
            <source>the storage fails: %1</source>
            <translation>der Speicher versagt: %1</translation>
        </message>
        <message>
            <source>Read the reason that the bus has written to its stderr; after damage, start it with an undamaged file or with none.</source>
            <translation>Den Grund lesen, den der Bus auf stderr geschrieben hat; bei einem Schaden den Bus mit einer heilen Datei oder ohne Datei starten.</translation>
        </message>
        <message>
            <source>what is stored for "%1" cannot be loaded: %2</source>
            <translation>was für "%1" gespeichert ist, kann nicht geladen werden: %2</translation>
        </message>
        <message>
            <source>%1 takes %2, and %3 are free</source>
            <translation>%1 belegt %2, und %3 sind frei</translation>
        </message>
        <message>
            <source>Make room there, because the bus refuses what it cannot store.</source>
            <translation>Dort Platz schaffen, weil der Bus ablehnt, was er nicht speichern kann.</translation>
        </message>
        <message>
            <source>Make room there before it is full.</source>
            <translation>Dort Platz schaffen, bevor er voll ist.</translation>
        </message>
        <message>
            <source>See in tarvexctl clients for whom so many messages wait.</source>
            <translation>In tarvexctl clients nachsehen, auf wen so viele Nachrichten warten.</translation>
        </message>
        <message>
            <source>the storage %1 cannot be looked at by this user</source>
            <translation>dieser Benutzer kann den Speicher %1 nicht ansehen</translation>
        </message>
        <message>
            <source>Run doctor as the user who has started the bus.</source>
            <translation>doctor als der Benutzer starten, der den Bus gestartet hat.</translation>
        </message>
        <message>
            <source>the storage %1 is gone while the bus runs</source>
            <translation>der Speicher %1 ist weg, während der Bus läuft</translation>
        </message>
        <message>
            <source>Start the bus again, with a saved copy of the file or with none, because it cannot go on without the file.</source>
            <translation>Den Bus neu starten, mit einer gesicherten Kopie der Datei oder ohne Datei, denn ohne sie kann er nicht weiterarbeiten.</translation>
        </message>
        <message>
            <source>this user may not read and write %1</source>
            <translation>dieser Benutzer darf %1 nicht lesen und schreiben</translation>
        </message>
        <message>
            <source>Check whose file it is, if the bus runs as this user.</source>
            <translation>Prüfen, wem die Datei gehört, wenn der Bus als dieser Benutzer läuft.</translation>
        </message>
        <message>
            <source>since the bus was started the clock was set forward by %1 s</source>
            <translation>seit dem Start des Busses wurde die Uhr um %1 s vorgestellt</translation>
        </message>
        <message>
            <source>since the bus was started the clock was set back by %1 s</source>
            <translation>seit dem Start des Busses wurde die Uhr um %1 s zurückgestellt</translation>
        </message>
        <message>
            <source>Do not compare the dates of records across that jump, and let the clock be set before the bus is started.</source>
            <translation>Zeitangaben von Datensätzen nicht über diesen Sprung hinweg vergleichen, und die Uhr stellen lassen, bevor der Bus startet.</translation>
        </message>
        <message>
            <source>the bus stores in memory</source>
            <translation>der Bus speichert im Arbeitsspeicher</translation>
        </message>
        <message>
            <source>Start it without --memory if something is to be kept.</source>
            <translation>Ohne --memory starten, wenn etwas erhalten bleiben soll.</translation>
        </message>
        <message>
            <source>the clock was set by %1 ms while doctor looked</source>
            <translation>die Uhr wurde um %1 ms gestellt, während doctor hinsah</translation>
        </message>
        <message>
            <source>Find out what sets the clock, because the dates of records jump with it.</source>
            <translation>Herausfinden, was die Uhr stellt, denn die Zeitangaben der Datensätze springen mit.</translation>
        </message>
        <message>
            <source>nothing keeps the clock of this machine right, as far as the kernel knows</source>
            <translation>nichts hält die Uhr dieses Rechners richtig, soweit der Kernel weiß</translation>
        </message>
        <message>
            <source>Set up NTP (timedatectl shows it), if dates are compared with those of other machines.</source>
            <translation>NTP einrichten (timedatectl zeigt es), wenn Zeitangaben mit denen anderer Rechner verglichen werden.</translation>
        </message>
        <message>
            <source>the clock was not set while doctor looked</source>
            <translation>die Uhr wurde nicht gestellt, während doctor hinsah</translation>
        </message>
        <message>
            <source>the clock was not set since the bus was started</source>
            <translation>die Uhr wurde seit dem Start des Busses nicht gestellt</translation>
        </message>
        <message>
            <source>the %1 port %2</source>
            <translation>Port %2 (%1)</translation>
        </message>
        <message>
            <source>%1 (process %2 of %3)</source>
            <translation>%1 (Prozess %2 von %3)</translation>
        </message>
        <message>
            <source>%1 and %2</source>
            <translation>%1 und %2</translation>
        </message>
        <message>
            <source>nobody listens on %1</source>
            <translation>niemand lauscht auf %1</translation>
        </message>
        <message>
            <source>End what holds the other port and start the bus again, because a bus opens both.</source>
            <translation>Beenden, was den anderen Port hält, und den Bus neu starten, denn ein Bus öffnet beide.</translation>
        </message>
        <message>
            <source>a process of the user %1 listens on port %2; its number cannot be seen from here</source>
            <translation>ein Prozess des Benutzers %1 lauscht auf Port %2; seine Nummer ist von hier nicht zu sehen</translation>
        </message>
        <message>
            <source>Run doctor as %1 to see which process it is.</source>
            <translation>doctor als %1 starten, um zu sehen, welcher Prozess es ist.</translation>
        </message>
        <message>
            <source>Run doctor as %1 or root to see which process it is.</source>
            <translation>doctor als %1 oder root starten, um zu sehen, welcher Prozess es ist.</translation>
        </message>
        <message>
            <source>%1 holds %2 only</source>
            <translation>%1 hält nur %2</translation>
        </message>
        <message>
            <source>%1 hold %2 only</source>
            <translation>%1 halten nur %2</translation>
        </message>
        <message>
            <source>See whether this is the bus at all, because a bus holds both ports.</source>
            <translation>Nachsehen, ob das überhaupt der Bus ist, denn ein Bus hält beide Ports.</translation>
        </message>
        <message>
            <source>%1 holds %2</source>
            <translation>%1 hält %2</translation>
        </message>
        <message>
            <source>%1 hold %2</source>
            <translation>%1 halten %2</translation>
        </message>
        <message>
            <source>the ports belong to two programs: the query port to %1, the receiver port to %2</source>
            <translation>die Ports gehören zwei Programmen: der Port query gehört %1, der Port receiver %2</translation>
        </message>
        <message>
            <source>End the one that is not the bus, and start the bus again.</source>
            <translation>Das Programm beenden, das nicht der Bus ist, und den Bus neu starten.</translation>
        </message>
        <message>
            <source>several processes hold the ports: %1</source>
            <translation>mehrere Prozesse halten die Ports: %1</translation>
        </message>
        <message>
            <source>Check that the others are children of the bus, because they keep the ports taken when it ends.</source>
            <translation>Prüfen, dass die anderen Kinder des Busses sind, denn sie belegen die Ports weiter, wenn er endet.</translation>
        </message>
        <message>
            <source>%1 holds the ports</source>
            <translation>%1 hält die Ports</translation>
        </message>
        <message>
            <source>port %1 takes connections from other machines as well</source>
            <translation>Port %1 nimmt auch Verbindungen anderer Rechner an</translation>
        </message>
        <message>
            <source>Let the bus listen on 127.0.0.1 only, because it knows no access rights.</source>
            <translation>Den Bus nur auf 127.0.0.1 lauschen lassen, denn er kennt keine Zugriffsrechte.</translation>
        </message>
        <message>
            <source>%1 is stopped, so it answers nobody</source>
            <translation>%1 ist angehalten, antwortet also niemandem</translation>
        </message>
        <message>
            <source>Let it go on with kill -CONT %1, or leave the debugger that holds it.</source>
            <translation>Ihn mit kill -CONT %1 weiterlaufen lassen oder den Debugger verlassen, der ihn hält.</translation>
        </message>
        <message>
            <source>nobody listens on the bus's ports 45535 and 45537</source>
            <translation>niemand lauscht auf den Ports 45535 und 45537 des Busses</translation>
        </message>
        <message>
            <source>Start the bus: on a desk that is tarvex-devbus.</source>
            <translation>Den Bus starten: am Arbeitsplatz ist das tarvex-devbus.</translation>
        </message>
        <message>
            <source>%1 s</source>
            <translation>%1 s</translation>
        </message>
        <message>
            <source>%1 min</source>
            <translation>%1 min</translation>
        </message>
        <message>
            <source>%1 h</source>
            <translation>%1 h</translation>
        </message>
        <message numerus="yes">
            <source>%n days</source>
            <translation>
                <numerusform>%n Tag</numerusform>
                <numerusform>%n Tage</numerusform>
            </translation>
        </message>
        <message>
            <source>an entry is no object</source>
            <translation>ein Eintrag ist kein Objekt</translation>
        </message>
        <message>
            <source>an entry has no key</source>
            <translation>ein Eintrag hat keinen Schlüssel</translation>
        </message>
        <message>
            <source>the group of "%1" is no text</source>
            <translation>die Gruppe von "%1" ist kein Text</translation>
        </message>
        <message>
            <source>%1 has no value</source>
            <translation>%1 hat keinen Wert</translation>
        </message>
        <message>
            <source>%1 is there twice, and the last one counts</source>
            <translation>%1 steht zweimal da, und der letzte Eintrag gilt</translation>
        </message>
        <message>
            <source>the date cannot be read</source>
            <translation>das Datum ist nicht lesbar</translation>
        </message>
        <message>
            <source>settings of "%1": %2 holds a number from 2^53 on, which has lost its last digits if it was an integer</source>
            <translation>Einstellungen von "%1": %2 enthält eine Zahl ab 2^53, die ihre letzten Stellen verloren hat, wenn sie ganzzahlig war</translation>
        </message>
        <message>
            <source>Compare it with what it should be, and store such a number as a text.</source>
            <translation>Sie mit dem Sollwert vergleichen und eine solche Zahl als Text speichern.</translation>
        </message>
        <message>
            <source>Compare this machine's clock and the TZ of that service with the right time, because records hold local times.</source>
            <translation>Die Uhr dieses Rechners und die TZ des Dienstes mit der richtigen Zeit vergleichen, denn Datensätze enthalten Ortszeiten.</translation>
        </message>
        <message>
            <source>its type is no number from -128 to 127</source>
            <translation>sein Typ ist keine Zahl von -128 bis 127</translation>
        </message>
        <message>
            <source>its state is no text</source>
            <translation>sein Zustand ist kein Text</translation>
        </message>
        <message>
            <source>its date cannot be read</source>
            <translation>sein Datum ist nicht lesbar</translation>
        </message>
        <message>
            <source>its state begins like JSON and is none</source>
            <translation>sein Zustand beginnt wie JSON und ist keines</translation>
        </message>
        <message>
            <source>the state of "%1" is %2 old, and the client is connected</source>
            <translation>der Zustand von "%1" ist %2 alt, und der Client ist verbunden</translation>
        </message>
        <message>
            <source>the state of "%1" is %2 old, and the client may be connected</source>
            <translation>der Zustand von "%1" ist %2 alt, und der Client ist vielleicht verbunden</translation>
        </message>
        <message>
            <source>See whether its query worker hangs, because a service reports its state again and again; --state-age says how old it may be.</source>
            <translation>Nachsehen, ob sein Query-Worker hängt, denn ein Dienst meldet seinen Zustand immer wieder; --state-age sagt, wie alt er sein darf.</translation>
        </message>
        <message>
            <source>the state of "%1" does not convert: %2</source>
            <translation>der Zustand von "%1" ist nicht umwandelbar: %2</translation>
        </message>
        <message>
            <source>Correct the service that has saved it, and let it report again.</source>
            <translation>Den Dienst berichtigen, der ihn gespeichert hat, und ihn neu melden lassen.</translation>
        </message>
        <message>
            <source>the contents of the state of "%1" are dated %2 in the future</source>
            <translation>der Inhalt des Zustands von "%1" ist %2 in die Zukunft datiert</translation>
        </message>
        <message>
            <source>the settings of "%1" do not convert: %2</source>
            <translation>die Einstellungen von "%1" sind nicht umwandelbar: %2</translation>
        </message>
        <message>
            <source>Write them to a file with --json settings get, correct it, and save it with settings load.</source>
            <translation>Sie mit --json settings get in eine Datei schreiben, diese berichtigen und mit settings load speichern.</translation>
        </message>
        <message>
            <source>the settings of "%1" are dated %2 in the future</source>
            <translation>die Einstellungen von "%1" sind %2 in die Zukunft datiert</translation>
        </message>
        <message>
            <source>the time was too short for 1 more record</source>
            <translation>die Zeit war zu kurz für 1 weiteren Datensatz</translation>
        </message>
        <message numerus="yes">
            <source>the time was too short for %n more records</source>
            <translation>
                <numerusform>die Zeit war zu kurz für %n weiteren Datensatz</numerusform>
                <numerusform>die Zeit war zu kurz für %n weitere Datensätze</numerusform>
            </translation>
        </message>
        <message>
            <source>Give more time with --timeout.</source>
            <translation>Mit --timeout mehr Zeit geben.</translation>
        </message>
        <message>
            <source>the settings of 1 owner convert</source>
            <translation>die Einstellungen von 1 Besitzer sind umwandelbar</translation>
        </message>
        <message numerus="yes">
            <source>the settings of %n owners convert</source>
            <translation>
                <numerusform>die Einstellungen von %n Besitzer sind umwandelbar</numerusform>
                <numerusform>die Einstellungen von %n Besitzern sind umwandelbar</numerusform>
            </translation>
        </message>
        <message>
            <source>1 state, none of them damaged, too old or from the future</source>
            <translation>1 Zustand, nicht beschädigt, zu alt oder aus der Zukunft</translation>
        </message>
        <message numerus="yes">
            <source>%n states, none of them damaged, too old or from the future</source>
            <translation>
                <numerusform>%n Zustand, nicht beschädigt, zu alt oder aus der Zukunft</numerusform>
                <numerusform>%n Zustände, keiner davon beschädigt, zu alt oder aus der Zukunft</numerusform>
            </translation>
        </message>
        <message>
            <source>1 state of clients that are not connected: %1</source>
            <translation>1 Zustand eines Clients, der nicht verbunden ist: %1</translation>
        </message>
        <message numerus="yes">
            <source>%n states of clients that are not connected: %1</source>
            <translation>
                <numerusform>%n Zustand eines Clients, der nicht verbunden ist: %1</numerusform>
                <numerusform>%n Zustände von Clients, die nicht verbunden sind: %1</numerusform>
            </translation>
        </message>
        <message>
            <source>Do not take these states for the present ones.</source>
            <translation>Diese Zustände nicht für die gegenwärtigen halten.</translation>
        </message>
        <message>
            <source>interrupted</source>
            <translation>unterbrochen</translation>
        </message>
        <message>
            <source>%1 stays subscribed: unsubscribing takes too long</source>
            <translation>%1 bleibt Abonnent: das Abbestellen dauert zu lange</translation>
        </message>
        <message>
            <source>the bus is there, but did not answer within the time-out</source>
            <translation>der Bus ist da, hat aber nicht innerhalb des Zeitlimits geantwortet</translation>
        </message>
        <message>
            <source>the bus is there, but has closed the connection that receives: another program took the name "%1", most likely; trying every second to get it back</source>
            <translation>der Bus ist da, hat aber die Empfangsverbindung geschlossen: wahrscheinlich hat ein anderes Programm den Namen "%1" übernommen; versuche jede Sekunde, ihn zurückzubekommen</translation>
        </message>
        <message>
            <source>receiving as %1 again</source>
            <translation>empfange wieder als %1</translation>
        </message>
        <message>
            <source>%1 stays subscribed to %2: %3</source>
            <translation>%1 bleibt Abonnent von %2: %3</translation>
        </message>
        <message>
            <source>%1: nobody has ever been "%2" on this bus, as far as it knows, and the library does not know the name; see "tarvexctl clients"</source>
            <translation>%1: auf diesem Bus war nie jemand "%2", soweit er weiß, und die Bibliothek kennt den Namen nicht; siehe "tarvexctl clients"</translation>
        </message>
        <message>
            <source>--operation: there is no operation "%1"; there are %2</source>
            <translation>--operation: es gibt keine Operation "%1"; es gibt %2</translation>
        </message>
        <message>
            <source>1 value</source>
            <translation>1 Wert</translation>
        </message>
        <message numerus="yes">
            <source>%n values</source>
            <translation>
                <numerusform>%n Wert</numerusform>
                <numerusform>%n Werte</numerusform>
            </translation>
        </message>
        <message>
            <source>(%1 bytes: too large or too deeply nested to be shown)</source>
            <translation>(%1 Bytes: zu groß oder zu tief verschachtelt zum Zeigen)</translation>
        </message>
        <message>
            <source> (answer to #%1 after %2)</source>
            <translation> (Antwort auf #%1 nach %2)</translation>
        </message>
        <message>
            <source>connection %1 opened (%2)</source>
            <translation>Verbindung %1 geöffnet (%2)</translation>
        </message>
        <message>
            <source>connection %1 closed (%2)</source>
            <translation>Verbindung %1 geschlossen (%2)</translation>
        </message>
        <message>
            <source>bad: %1 (connection %2, %3)</source>
            <translation>fehlerhaft: %1 (Verbindung %2, %3)</translation>
        </message>
        <message>
            <source>gap: %1</source>
            <translation>Lücke: %1</translation>
        </message>
        <message>
            <source> [fault: %1]</source>
            <translation> [Fehler: %1]</translation>
        </message>
        <message>
            <source>%1 error %2 %3: %4</source>
            <translation>%1 Fehler %2 %3: %4</translation>
        </message>
        <message>
            <source>the past is too large to be shown whole; its oldest frames are left out</source>
            <translation>die Vergangenheit ist zu groß, um ganz gezeigt zu werden; ihre ältesten Frames fehlen</translation>
        </message>
        <message>
            <source>nothing came</source>
            <translation>es kam nichts</translation>
        </message>
        <message>
            <source>done</source>
            <translation>erledigt</translation>
        </message>
        <message>
            <source>refused by the bus or the other party, or stdout cannot be written</source>
            <translation>vom Bus oder der Gegenseite abgelehnt, oder stdout ist nicht beschreibbar</translation>
        </message>
        <message>
            <source>wrong use; nothing was changed</source>
            <translation>falscher Aufruf; nichts wurde geändert</translation>
        </message>
        <message>
            <source>no bus to be reached, a refused handshake or a lost connection</source>
            <translation>kein Bus erreichbar, Handshake abgelehnt oder Verbindung verloren</translation>
        </message>
        <message>
            <source>nothing, or not enough, came within the time-out</source>
            <translation>innerhalb des Zeitlimits kam nichts oder nicht genug</translation>
        </message>
        <message>
            <source>Usage</source>
            <translation>Aufruf</translation>
        </message>
        <message>
            <source>OPTION...</source>
            <translation>OPTION...</translation>
        </message>
        <message>
            <source>VERB</source>
            <translation>VERB</translation>
        </message>
        <message>
            <source>Arguments</source>
            <translation>Argumente</translation>
        </message>
        <message>
            <source>REQUIRED</source>
            <translation>ERFORDERLICH</translation>
        </message>
        <message>
            <source>Options</source>
            <translation>Optionen</translation>
        </message>
        <message>
            <source>Verbs:</source>
            <translation>Verben:</translation>
        </message>
        <message>
            <source>Exit status:</source>
            <translation>Exit-Status:</translation>
        </message>
        <message>
            <source>%1 is too large to be stored exactly as a number; --string stores it as a text</source>
            <translation>%1 ist zu groß, um genau als Zahl gespeichert zu werden; --string speichert es als Text</translation>
        </message>
        <message>
            <source>%1 begins like JSON and is none: it is taken as a text, as with --string</source>
            <translation>%1 beginnt wie JSON und ist keines: es wird als Text genommen, wie mit --string</translation>
        </message>
        <message>
            <source>SENT</source>
            <translation>GESENDET</translation>
        </message>
        <message>
            <source>FROM</source>
            <translation>VON</translation>
        </message>
        <message>
            <source>TO</source>
            <translation>AN</translation>
        </message>
        <message>
            <source>MESSAGE</source>
            <translation>NACHRICHT</translation>
        </message>
        <message>
            <source>taken from the bus meanwhile, from %1, UID %2: %3</source>
            <translation>inzwischen vom Bus abgeholt, von %1, UID %2: %3</translation>
        </message>
        <message>
            <source>%1, but %2</source>
            <translation>%1, aber %2</translation>
        </message>
        <message>
            <source>this bus does not list what it stores; only the %1 names that the library knows are asked for</source>
            <translation>dieser Bus zählt nicht auf, was er speichert; nur nach den %1 Namen, die die Bibliothek kennt, wird gefragt</translation>
        </message>
        <message>
            <source>" or "</source>
            <translation>" oder "</translation>
        </message>
        <message>
            <source>unknown option "%1"; an argument that begins with a minus stands after --</source>
            <translation>unbekannte Option "%1"; ein Argument, das mit einem Minus beginnt, steht hinter --</translation>
        </message>
        <message>
            <source>unknown option "%1"; did you mean "%2"? An argument that begins with a minus stands after --</source>
            <translation>unbekannte Option "%1"; ist "%2" gemeint? Ein Argument, das mit einem Minus beginnt, steht hinter --</translation>
        </message>
        <message>
            <source>unknown verb "%1"; there are %2</source>
            <translation>unbekanntes Verb "%1"; es gibt %2</translation>
        </message>
        <message>
            <source>unknown verb "%1"; did you mean "%2"? There are %3</source>
            <translation>unbekanntes Verb "%1"; ist "%2" gemeint? Es gibt %3</translation>
        </message>
        <message>
            <source>"%1" stands after --, where it is no verb</source>
            <translation>"%1" steht hinter --, wo es kein Verb ist</translation>
        </message>
        <message>
            <source>%1 is required</source>
            <translation>%1 fehlt</translation>
        </message>
        <message>
            <source>%1: 1 required %2 missing</source>
            <translation>%1: 1 Wert %2 fehlt</translation>
        </message>
        <message>
            <source>-%1 takes no value</source>
            <translation>-%1 nimmt keinen Wert</translation>
        </message>
        <message>
            <source>--%1 takes no value</source>
            <translation>--%1 nimmt keinen Wert</translation>
        </message>
        <message>
            <source>%1 needs a verb: %2</source>
            <translation>%1 braucht ein Verb: %2</translation>
        </message>
        <message>
            <source>%1 or %2</source>
            <translation>%1 oder %2</translation>
        </message>
        <message>
            <source>cannot write %1: %2</source>
            <translation>kann %1 nicht schreiben: %2</translation>
        </message>
        <message>
            <source>cannot read %1: %2</source>
            <translation>kann %1 nicht lesen: %2</translation>
        </message>
        <message>
            <source>something else than the answer to the handshake</source>
            <translation>etwas anderes als die Antwort auf den Handshake</translation>
        </message>
        <message>
            <source>line %1: %2</source>
            <translation>Zeile %1: %2</translation>
        </message>
        <message>
            <source>this is no recording: its first line must be an object with "%1"</source>
            <translation>das ist keine Aufzeichnung: ihre erste Zeile muss ein Objekt mit "%1" sein</translation>
        </message>
        <message>
            <source>the recording has the version %1; this program reads version %2</source>
            <translation>die Aufzeichnung hat die Version %1; dieses Programm liest Version %2</translation>
        </message>
        <message>
            <source>a frame whose "%1" is no whole number from %2 to %3: %4</source>
            <translation>ein Frame, dessen "%1" keine ganze Zahl von %2 bis %3 ist: %4</translation>
        </message>
        <message>
            <source>a frame whose "%1" is no text</source>
            <translation>ein Frame, dessen "%1" kein Text ist</translation>
        </message>
        <message>
            <source>this is no frame: "time", "kind" and "port" must be there, and "direction" for a request and a reply, with the words of the document</source>
            <translation>das ist kein Frame: "time", "kind" und "port" müssen da sein, bei Anfrage und Antwort auch "direction", mit den Wörtern des Dokuments</translation>
        </message>
        <message>
            <source>a request without "operation"</source>
            <translation>eine Anfrage ohne "operation"</translation>
        </message>
        <message>
            <source>a frame without "data", an object</source>
            <translation>ein Frame ohne "data", ein Objekt</translation>
        </message>
        <message>
            <source>the line is longer than %1 bytes</source>
            <translation>die Zeile ist länger als %1 Bytes</translation>
        </message>
        <message>
            <source>no JSON object</source>
            <translation>kein JSON-Objekt</translation>
        </message>
        <message>
            <source>%1 is there already; --force replaces it</source>
            <translation>%1 ist schon da; --force ersetzt es</translation>
        </message>
        <message>
            <source>cannot write to %1: %2</source>
            <translation>kann nicht nach %1 schreiben: %2</translation>
        </message>
        <message>
            <source>this is no JSON object: %1</source>
            <translation>das ist kein JSON-Objekt: %1</translation>
        </message>
        <message>
            <source>the recording is empty</source>
            <translation>die Aufzeichnung ist leer</translation>
        </message>
        <message>
            <source>the input ended, so 1 step was not played</source>
            <translation>die Eingabe endete, also wurde 1 Schritt nicht gespielt</translation>
        </message>
        <message numerus="yes">
            <source>the input ended, so %n steps were not played</source>
            <translation>
                <numerusform>die Eingabe endete, also wurde %n Schritt nicht gespielt</numerusform>
                <numerusform>die Eingabe endete, also wurden %n Schritte nicht gespielt</numerusform>
            </translation>
        </message>
        <message>
            <source>%1  %2  %3: %4 was recorded, %5 came</source>
            <translation>%1  %2  %3: aufgezeichnet war %4, es kam %5</translation>
        </message>
        <message>
            <source>%1 to %2</source>
            <translation>%1 bis %2</translation>
        </message>
        <message>
            <source>Exchanges</source>
            <translation>Austausche</translation>
        </message>
        <message>
            <source>Min</source>
            <translation>Minimum</translation>
        </message>
        <message>
            <source>Median</source>
            <translation>Median</translation>
        </message>
        <message>
            <source>Max</source>
            <translation>Maximum</translation>
        </message>
        <message>
            <source>1 change</source>
            <translation>1 Änderung</translation>
        </message>
        <message numerus="yes">
            <source>%n changes</source>
            <translation>
                <numerusform>%n Änderung</numerusform>
                <numerusform>%n Änderungen</numerusform>
            </translation>
        </message>
        <message>
            <source>+ a first record
</source>
            <translation>+ ein erster Datensatz
</translation>
        </message>
        <message>
            <source>- the whole record
</source>
            <translation>- der ganze Datensatz
</translation>
        </message>
        <message>
            <source>the name %1 is there twice in one object</source>
            <translation>der Name %1 steht zweimal in einem Objekt</translation>
        </message>
        <message>
            <source>no JSON: %1 at column %2</source>
            <translation>kein JSON: %1 in Spalte %2</translation>
        </message>
        <message>
            <source>%1 is too large to be stored exactly as a number</source>
            <translation>%1 ist zu groß, um genau als Zahl gespeichert zu werden</translation>
        </message>
        <message>
            <source>the "format" is not "%1"</source>
            <translation>"format" ist nicht "%1"</translation>
        </message>
        <message>
            <source>the "version" of the format is not %1, the one that is known here</source>
            <translation>"version" des Formats ist nicht %1, die hier bekannte</translation>
        </message>
        <message>
            <source>a document of settings</source>
            <translation>ein Dokument mit Einstellungen</translation>
        </message>
        <message>
            <source>"records" is needed, a list</source>
            <translation>"records" wird gebraucht, eine Liste</translation>
        </message>
        <message>
            <source>%1 has a record in line %2 already</source>
            <translation>%1 hat schon in Zeile %2 einen Datensatz</translation>
        </message>
        <message>
            <source>no JSON: it begins with a byte order mark; save the file as UTF-8 without one</source>
            <translation>kein JSON: es beginnt mit einer Bytereihenfolge-Marke; die Datei als UTF-8 ohne sie speichern</translation>
        </message>
        <message>
            <source>no JSON: not UTF-8</source>
            <translation>kein JSON: kein UTF-8</translation>
        </message>
        <message>
            <source>there is no settings record in %1</source>
            <translation>in %1 ist kein Datensatz mit Einstellungen</translation>
        </message>
        <message>
            <source>each of "settings" must be an object</source>
            <translation>jedes Element von "settings" muss ein Objekt sein</translation>
        </message>
        <message>
            <source>the "group" of a setting must be a text</source>
            <translation>"group" einer Einstellung muss ein Text sein</translation>
        </message>
        <message>
            <source>a setting needs a "key", a text that is not empty</source>
            <translation>eine Einstellung braucht "key", einen nicht leeren Text</translation>
        </message>
        <message>
            <source>the setting %1 has no "value"</source>
            <translation>die Einstellung %1 hat kein "value"</translation>
        </message>
        <message>
            <source>"settings" is needed, a list</source>
            <translation>"settings" wird gebraucht, eine Liste</translation>
        </message>
        <message>
            <source>a settings record must be a JSON object</source>
            <translation>ein Datensatz mit Einstellungen muss ein JSON-Objekt sein</translation>
        </message>
        <message>
            <source>a settings record</source>
            <translation>ein Datensatz mit Einstellungen</translation>
        </message>
        <message>
            <source>"owner" is needed, a text that is not empty</source>
            <translation>"owner" wird gebraucht, ein nicht leerer Text</translation>
        </message>
        <message>
            <source>"date" must be a text</source>
            <translation>"date" muss ein Text sein</translation>
        </message>
        <message>
            <source>"description" must be a text</source>
            <translation>"description" muss ein Text sein</translation>
        </message>
        <message>
            <source>"mailOwner" must be 0 or 1</source>
            <translation>"mailOwner" muss 0 oder 1 sein</translation>
        </message>
        <message>
            <source>"%1" is no date of the form 2026-03-01T10:11:12.345</source>
            <translation>"%1" ist kein Datum der Form 2026-03-01T10:11:12.345</translation>
        </message>
        <message>
            <source>TAKEN</source>
            <translation>ERFASST</translation>
        </message>
        <message>
            <source>OWNER</source>
            <translation>BESITZER</translation>
        </message>
        <message>
            <source>CHANGED</source>
            <translation>GEÄNDERT</translation>
        </message>
        <message>
            <source>BEFORE</source>
            <translation>VORHER</translation>
        </message>
        <message>
            <source>AFTER</source>
            <translation>NACHHER</translation>
        </message>
        <message>
            <source>no state</source>
            <translation>kein Zustand</translation>
        </message>
        <message>
            <source>the type of a state must be a number from 0 to 127, not "%1"</source>
            <translation>der Typ eines Zustands muss eine Zahl von 0 bis 127 sein, nicht "%1"</translation>
        </message>
        <message>
            <source>TYPE</source>
            <translation>TYP</translation>
        </message>
        <message>
            <source>DESCRIPTION</source>
            <translation>BESCHREIBUNG</translation>
        </message>
        <message>
            <source>STATE</source>
            <translation>ZUSTAND</translation>
        </message>
        <message>
            <source>only %1 of %2 came</source>
            <translation>nur %1 von %2 kamen</translation>
        </message>
        <message>
            <source>%1 within %2</source>
            <translation>%1 innerhalb von %2</translation>
        </message>
        <message>
            <source>there is no editor: set VISUAL or EDITOR to one, as in EDITOR=nano</source>
            <translation>es gibt keinen Editor: VISUAL oder EDITOR auf einen setzen, etwa EDITOR=nano</translation>
        </message>
        <message>
            <source>cannot start the editor "%1": %2</source>
            <translation>kann den Editor "%1" nicht starten: %2</translation>
        </message>
        <message>
            <source>the editor "%1" was ended by a signal</source>
            <translation>der Editor "%1" wurde durch ein Signal beendet</translation>
        </message>
        <message>
            <source>the editor "%1" ended with status %2</source>
            <translation>der Editor "%1" endete mit Status %2</translation>
        </message>
        <message>
            <source>no reason given</source>
            <translation>ohne Angabe von Gründen</translation>
        </message>
        <message>
            <source>%1 for a command with data</source>
            <translation>%1 für ein Kommando mit Daten</translation>
        </message>
        <message>
            <source>%1 for a command without data</source>
            <translation>%1 für ein Kommando ohne Daten</translation>
        </message>
        <message>
            <source>refused by %1: %2</source>
            <translation>von %1 abgelehnt: %2</translation>
        </message>
        <message>
            <source>From</source>
            <translation>Von</translation>
        </message>
        <message>
            <source>Sent</source>
            <translation>Gesendet</translation>
        </message>
        <message>
            <source>Command</source>
            <translation>Kommando</translation>
        </message>
        <message>
            <source>Data</source>
            <translation>Daten</translation>
        </message>
        <message>
            <source>Message</source>
            <translation>Nachricht</translation>
        </message>
        <message>
            <source>no reply from %1 within %2</source>
            <translation>keine Antwort von %1 innerhalb von %2</translation>
        </message>
        <message>
            <source>Sends a command to a client and shows its reply</source>
            <translation>Sendet einem Client ein Kommando und zeigt seine Antwort</translation>
        </message>
        <message>
            <source>No reply within the time-out is a success: many services answer only what fails</source>
            <translation>Keine Antwort innerhalb des Zeitlimits ist ein Erfolg: viele Dienste antworten nur auf Fehler</translation>
        </message>
        <message>
            <source>a call to oneself has nobody to answer it</source>
            <translation>auf einen Aufruf an sich selbst kann niemand antworten</translation>
        </message>
        <message>
            <source>The client that gets the command</source>
            <translation>Der Client, der das Kommando bekommt</translation>
        </message>
        <message>
            <source>The command's name</source>
            <translation>Der Name des Kommandos</translation>
        </message>
        <message>
            <source>The command's data: KEY=VALUE for a text, KEY:=JSON for any other value; or all of it as one JSON object</source>
            <translation>Die Daten des Kommandos: KEY=VALUE für einen Text, KEY:=JSON für einen anderen Wert; oder alles als ein JSON-Objekt</translation>
        </message>
        <message>
            <source>How many seconds to wait for the reply</source>
            <translation>Wie viele Sekunden auf die Antwort gewartet wird</translation>
        </message>
        <message>
            <source>yes</source>
            <translation>ja</translation>
        </message>
        <message>
            <source>Shows the names that a development bus knows</source>
            <translation>Zeigt die Namen, die ein Entwicklungsbus kennt</translation>
        </message>
        <message>
            <source>NAME</source>
            <translation>NAME</translation>
        </message>
        <message>
            <source>QUERY SINCE</source>
            <translation>QUERY SEIT</translation>
        </message>
        <message>
            <source>RECEIVER SINCE</source>
            <translation>RECEIVER SEIT</translation>
        </message>
        <message>
            <source>WAITING</source>
            <translation>WARTEND</translation>
        </message>
        <message>
            <source>SUBSCRIBED</source>
            <translation>ABONNIERT</translation>
        </message>
        <message>
            <source>SETTINGS</source>
            <translation>EINSTELLUNGEN</translation>
        </message>
        <message>
            <source>nobody is there, and nothing is stored</source>
            <translation>niemand ist da, und nichts ist gespeichert</translation>
        </message>
        <message>
            <source>the key %1 is given twice in one object</source>
            <translation>der Schlüssel %1 steht zweimal in einem Objekt</translation>
        </message>
        <message>
            <source>%1 must be a JSON object</source>
            <translation>%1 muss ein JSON-Objekt sein</translation>
        </message>
        <message>
            <source>%1 is no JSON: %2 at byte %3</source>
            <translation>%1 ist kein JSON: %2 bei Byte %3</translation>
        </message>
        <message>
            <source>%1 is too large for a command: it has more than %2 bytes</source>
            <translation>%1 ist zu groß für ein Kommando: mehr als %2 Bytes</translation>
        </message>
        <message>
            <source>%1 holds no UTF-8 text</source>
            <translation>%1 enthält keinen UTF-8-Text</translation>
        </message>
        <message>
            <source>the content of %1</source>
            <translation>der Inhalt von %1</translation>
        </message>
        <message>
            <source>the value of "%1" is no JSON: %2</source>
            <translation>der Wert von "%1" ist kein JSON: %2</translation>
        </message>
        <message>
            <source>the data of a command must be a JSON object, or KEY=VALUE and KEY:=JSON; "%1" is neither</source>
            <translation>die Daten eines Kommandos müssen ein JSON-Objekt sein oder KEY=VALUE und KEY:=JSON; "%1" ist nichts davon</translation>
        </message>
        <message>
            <source>there is no key in "%1"</source>
            <translation>in "%1" ist kein Schlüssel</translation>
        </message>
        <message>
            <source>the key "%1" is given twice</source>
            <translation>der Schlüssel "%1" steht zweimal da</translation>
        </message>
        <message>
            <source>the data of a command</source>
            <translation>die Angabe der Daten des Kommandos</translation>
        </message>
        <message>
            <source>the data of a command is given twice: by --data and as "%1"</source>
            <translation>die Daten eines Kommandos stehen zweimal da: mit --data und als "%1"</translation>
        </message>
        <message>
            <source>a JSON object stands alone, without KEY=VALUE beside it: %1</source>
            <translation>ein JSON-Objekt steht allein, ohne KEY=VALUE daneben: %1</translation>
        </message>
        <message>
            <source>The command's data: a JSON object, @FILE to read it from a file, or - for stdin</source>
            <translation>Die Daten des Kommandos: ein JSON-Objekt, @FILE für eine Datei oder - für stdin</translation>
        </message>
        <message>
            <source>%1, %2 bad, %3</source>
            <translation>%1, %2 fehlerhaft, %3</translation>
        </message>
        <message>
            <source>1 frame</source>
            <translation>1 Frame</translation>
        </message>
        <message numerus="yes">
            <source>%n frames</source>
            <translation>
                <numerusform>%n Frame</numerusform>
                <numerusform>%n Frames</numerusform>
            </translation>
        </message>
        <message>
            <source>1 gap</source>
            <translation>1 Lücke</translation>
        </message>
        <message numerus="yes">
            <source>%n gaps</source>
            <translation>
                <numerusform>%n Lücke</numerusform>
                <numerusform>%n Lücken</numerusform>
            </translation>
        </message>
        <message>
            <source>nobody is called "%1" in this file</source>
            <translation>in dieser Datei heißt niemand "%1"</translation>
        </message>
        <message>
            <source>Shows the frames in a capture file, and what is wrong with them</source>
            <translation>Zeigt die Frames einer Mitschnittdatei und was an ihnen falsch ist</translation>
        </message>
        <message>
            <source>All of the data, on lines of its own</source>
            <translation>Alle Daten, auf eigenen Zeilen</translation>
        </message>
        <message>
            <source>FILE holds the bytes of one direction of a connection, whatever they are</source>
            <translation>FILE enthält die Bytes einer Richtung einer Verbindung, gleich welche</translation>
        </message>
        <message>
            <source>The bytes are from the receiver port, where the bus sends messages; otherwise they are from the query port</source>
            <translation>Die Bytes kommen vom Port receiver, auf dem der Bus Nachrichten sendet; sonst kommen sie vom Port query</translation>
        </message>
        <message>
            <source>Filters are combined: a frame must fit all of them. tcpdump makes such a file: tcpdump -i lo -w bus.pcap 'port 45535 or port 45537'.</source>
            <translation>Filter wirken zusammen: ein Frame muss zu allen passen. tcpdump erzeugt eine solche Datei: tcpdump -i lo -w bus.pcap 'port 45535 or port 45537'.</translation>
        </message>
        <message>
            <source>A capture of tcpdump or tarvex-capture, or the bytes of a connection; - is stdin</source>
            <translation>Ein Mitschnitt von tcpdump oder tarvex-capture oder die Bytes einer Verbindung; - ist stdin</translation>
        </message>
        <message>
            <source>it is empty</source>
            <translation>sie ist leer</translation>
        </message>
        <message>
            <source>it is no capture, and its bytes do not begin with a frame; --raw decodes them anyway</source>
            <translation>sie ist kein Mitschnitt, und ihre Bytes beginnen nicht mit einem Frame; --raw dekodiert sie trotzdem</translation>
        </message>
        <message>
            <source>it is a capture, which tells the port: --receiver is for the bytes of a connection</source>
            <translation>sie ist ein Mitschnitt, der den Port nennt: --receiver ist für die Bytes einer Verbindung</translation>
        </message>
        <message>
            <source>none of its 1 packet belongs to the bus</source>
            <translation>ihr 1 Paket gehört nicht zum Bus</translation>
        </message>
        <message numerus="yes">
            <source>none of its %n packets belongs to the bus</source>
            <translation>
                <numerusform>ihr %n Paket gehört nicht zum Bus</numerusform>
                <numerusform>keines ihrer %n Pakete gehört zum Bus</numerusform>
            </translation>
        </message>
        <message>
            <source>%1; the capture is damaged after packet %2: %3</source>
            <translation>%1; der Mitschnitt ist nach Paket %2 beschädigt: %3</translation>
        </message>
        <message>
            <source>nothing is wrong</source>
            <translation>nichts ist falsch</translation>
        </message>
        <message>
            <source>%1 wrong</source>
            <translation>%1 falsch</translation>
        </message>
        <message>
            <source>%1 worth knowing</source>
            <translation>%1 wissenswert</translation>
        </message>
        <message>
            <source>%1 could not be looked at</source>
            <translation>%1 nicht zu prüfen</translation>
        </message>
        <message>
            <source>Says what is wrong with the bus here, and what to do about it</source>
            <translation>Sagt, was mit dem Bus hier nicht stimmt und was zu tun ist</translation>
        </message>
        <message>
            <source>--as is not for doctor, which has a name of its own and takes nobody's</source>
            <translation>--as ist nicht für doctor, das einen eigenen Namen hat und niemandem seinen nimmt</translation>
        </message>
        <message>
            <source>%1 must be a number above 0, not "%2"</source>
            <translation>%1 muss eine Zahl über 0 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>An exchange that takes more milliseconds is too slow; 100 without it</source>
            <translation>Ein Austausch, der länger dauert (in Millisekunden), ist zu langsam; 100 ohne Angabe</translation>
        </message>
        <message>
            <source>A state of a connected client that is older than so many seconds is wrong; without it, one older than 180 is worth knowing</source>
            <translation>Ein Zustand eines verbundenen Clients, der älter ist (in Sekunden), ist falsch; ohne Angabe ist einer über 180 wissenswert</translation>
        </message>
        <message>
            <source>How many seconds the whole examination may take</source>
            <translation>Wie viele Sekunden die ganze Prüfung dauern darf</translation>
        </message>
        <message>
            <source>this bus brings about no faults: only a development bus of the same user can</source>
            <translation>dieser Bus löst keine Fehler aus: das kann nur ein Entwicklungsbus desselben Benutzers</translation>
        </message>
        <message>
            <source>Makes the development bus bring about a fault on purpose</source>
            <translation>Lässt den Entwicklungsbus absichtlich einen Fehler auslösen</translation>
        </message>
        <message>
            <source>What the rule for it says: client=NAME, port=query|receiver, frame=reply|push, operation=NAME, command=NAME; nth=N, from=N, once or every; probability=P, seed=N; and do=EFFECT. The effects are error:CODE[:TEXT], silence, delay:MS, operation:NAME, sizeline:TEXT, size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], again, drop and limit:BYTES</source>
            <translation>Was die Regel dafür sagt: client=NAME, port=query|receiver, frame=reply|push, operation=NAME, command=NAME; nth=N, from=N, once oder every; probability=P, seed=N; und do=EFFECT. Die Wirkungen sind error:CODE[:TEXT], silence, delay:MS, operation:NAME, sizeline:TEXT, size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], again, drop und limit:BYTES</translation>
        </message>
        <message>
            <source>added fault %1: %2</source>
            <translation>Fehler %1 gesetzt: %2</translation>
        </message>
        <message>
            <source>Shows the faults on purpose, and how often they happened</source>
            <translation>Zeigt die absichtlichen Fehler und wie oft sie auftraten</translation>
        </message>
        <message>
            <source>NUMBER</source>
            <translation>NUMMER</translation>
        </message>
        <message>
            <source>HITS</source>
            <translation>TREFFER</translation>
        </message>
        <message>
            <source>RULE</source>
            <translation>REGEL</translation>
        </message>
        <message>
            <source>there are no faults</source>
            <translation>es gibt keine absichtlichen Fehler</translation>
        </message>
        <message>
            <source>Ends faults on purpose</source>
            <translation>Beendet absichtliche Fehler</translation>
        </message>
        <message>
            <source>Which ones, as fault list shows them; all when there is none</source>
            <translation>Welche, wie fault list sie zeigt; ohne Angabe alle</translation>
        </message>
        <message>
            <source>ended the faults %1</source>
            <translation>absichtliche Fehler beendet: %1</translation>
        </message>
        <message>
            <source>NUMBER must be a whole number from 1 to %1, not "%2"</source>
            <translation>NUMBER muss eine ganze Zahl von 1 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>--slow must be a number of milliseconds from 0 to 1000000000, not "%1"</source>
            <translation>--slow muss eine Zahl von Millisekunden von 0 bis 1000000000 sein, nicht "%1"</translation>
        </message>
        <message>
            <source>Only what is wrong: error codes, commandError, bad frames</source>
            <translation>Nur, was falsch ist: Fehlercodes, commandError, fehlerhafte Frames</translation>
        </message>
        <message>
            <source>Looks at the network, so any bus will do. INTERFACE is lo when it is not given</source>
            <translation>Sieht ins Netz, geht also mit jedem Bus. INTERFACE ist ohne Angabe lo</translation>
        </message>
        <message>
            <source>--last needs the development bus: the network keeps no past</source>
            <translation>--last braucht den Entwicklungsbus: das Netz bewahrt keine Vergangenheit</translation>
        </message>
        <message>
            <source>--last must be a whole number from 1 to %1, not "%2"</source>
            <translation>--last muss eine ganze Zahl von 1 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>Only what this client sends or gets, and its connections</source>
            <translation>Nur, was dieser Client sendet oder bekommt, und seine Verbindungen</translation>
        </message>
        <message>
            <source>Only what this client sends; "bus" is the bus itself</source>
            <translation>Nur, was dieser Client sendet; "bus" ist der Bus selbst</translation>
        </message>
        <message>
            <source>Only what this client gets; "bus" is the bus itself</source>
            <translation>Nur, was dieser Client bekommt; "bus" ist der Bus selbst</translation>
        </message>
        <message>
            <source>Only messages with this command</source>
            <translation>Nur Nachrichten mit diesem Kommando</translation>
        </message>
        <message>
            <source>Only this operation, such as saveState</source>
            <translation>Nur diese Operation, etwa saveState</translation>
        </message>
        <message>
            <source>Only replies that took at least so many milliseconds</source>
            <translation>Nur Antworten, die mindestens so viele Millisekunden brauchten</translation>
        </message>
        <message>
            <source>Shows whose settings are stored</source>
            <translation>Zeigt, wessen Einstellungen gespeichert sind</translation>
        </message>
        <message>
            <source>WRITTEN</source>
            <translation>GESCHRIEBEN</translation>
        </message>
        <message>
            <source>VALUES</source>
            <translation>WERTE</translation>
        </message>
        <message>
            <source>no settings are stored</source>
            <translation>es sind keine Einstellungen gespeichert</translation>
        </message>
        <message>
            <source>Shows all states that are stored</source>
            <translation>Zeigt alle gespeicherten Zustände</translation>
        </message>
        <message>
            <source>no states are stored</source>
            <translation>es sind keine Zustände gespeichert</translation>
        </message>
        <message>
            <source>listening as %1</source>
            <translation>lausche als %1</translation>
        </message>
        <message>
            <source>Shows the messages that come, until interrupted</source>
            <translation>Zeigt die ankommenden Nachrichten bis zur Unterbrechung</translation>
        </message>
        <message>
            <source>Ends after so many messages</source>
            <translation>Endet nach so vielen Nachrichten</translation>
        </message>
        <message>
            <source>standing in as %1</source>
            <translation>vertrete %1</translation>
        </message>
        <message>
            <source>no log line came</source>
            <translation>es kam keine Protokollzeile</translation>
        </message>
        <message>
            <source>this bus cannot tell whether %1 is there; --replace takes its place in any case</source>
            <translation>dieser Bus kann nicht sagen, ob %1 da ist; --replace nimmt auf jeden Fall seinen Platz ein</translation>
        </message>
        <message>
            <source>%1 is there, and would lose its lines; without --stand-in its lines are shown beside it, and --replace takes its place</source>
            <translation>%1 ist da und würde seine Zeilen verlieren; ohne --stand-in werden sie daneben gezeigt, und --replace nimmt seinen Platz ein</translation>
        </message>
        <message>
            <source>Shows the log lines of all services, until interrupted</source>
            <translation>Zeigt die Protokollzeilen aller Dienste bis zur Unterbrechung</translation>
        </message>
        <message>
            <source>The lines for the screen in place of those for the log service</source>
            <translation>Die Zeilen für den Bildschirm statt derer für den Protokolldienst</translation>
        </message>
        <message>
            <source>Takes the place of the log service: the lines are acknowledged and gone</source>
            <translation>Nimmt den Platz des Protokolldienstes ein: die Zeilen werden bestätigt und sind weg</translation>
        </message>
        <message>
            <source>With --stand-in: also when a log service is there</source>
            <translation>Mit --stand-in: auch wenn ein Protokolldienst da ist</translation>
        </message>
        <message>
            <source>The lines are seen on their way to the bus, so a log service gets them as well.</source>
            <translation>Die Zeilen werden auf dem Weg zum Bus gesehen, also bekommt sie auch ein Protokolldienst.</translation>
        </message>
        <message>
            <source>--replace needs --stand-in</source>
            <translation>--replace braucht --stand-in</translation>
        </message>
        <message>
            <source>--stand-in takes neither --last nor --capture: it gets the lines that the bus has kept, and those that come</source>
            <translation>--stand-in nimmt weder --last noch --capture: es bekommt die Zeilen, die der Bus aufgehoben hat, und die, die kommen</translation>
        </message>
        <message>
            <source>--level must be info, warning or error, not "%1"</source>
            <translation>--level muss info, warning oder error sein, nicht "%1"</translation>
        </message>
        <message>
            <source>Only lines of this level or a higher one: info, warning or error</source>
            <translation>Nur Zeilen dieser oder einer höheren Stufe: info, warning oder error</translation>
        </message>
        <message>
            <source>Only lines of this client</source>
            <translation>Nur Zeilen dieses Clients</translation>
        </message>
        <message>
            <source>Begins with the last N lines that fit, as far as the bus has kept them</source>
            <translation>Beginnt mit den letzten N passenden Zeilen, soweit der Bus sie aufgehoben hat</translation>
        </message>
        <message>
            <source>Ends after so many lines</source>
            <translation>Endet nach so vielen Zeilen</translation>
        </message>
        <message>
            <source>%1 (after %2 ms)</source>
            <translation>%1 (nach %2 ms)</translation>
        </message>
        <message>
            <source>the bus is there, but did not accept all services within %1</source>
            <translation>der Bus ist da, hat aber innerhalb von %1 nicht alle Dienste angenommen</translation>
        </message>
        <message>
            <source>%1: connected again</source>
            <translation>%1: wieder verbunden</translation>
        </message>
        <message>
            <source>%1: %2; trying again every second</source>
            <translation>%1: %2; neuer Versuch jede Sekunde</translation>
        </message>
        <message>
            <source>TIME</source>
            <translation>ZEIT</translation>
        </message>
        <message>
            <source>SERVICE</source>
            <translation>DIENST</translation>
        </message>
        <message>
            <source>COMMAND</source>
            <translation>KOMMANDO</translation>
        </message>
        <message>
            <source>ANSWER</source>
            <translation>ANTWORT</translation>
        </message>
        <message>
            <source>no command came</source>
            <translation>es kam kein Kommando</translation>
        </message>
        <message>
            <source>Stands in for services that a file describes, until interrupted</source>
            <translation>Vertritt Dienste, die eine Datei beschreibt, bis zur Unterbrechung</translation>
        </message>
        <message>
            <source>Only checks the file, and tells every error with its line</source>
            <translation>Prüft nur die Datei und meldet jeden Fehler mit seiner Zeile</translation>
        </message>
        <message>
            <source>Takes the names of services that are on the bus. They lose their connections and messages</source>
            <translation>Nimmt Diensten auf dem Bus ihre Namen. Sie verlieren ihre Verbindungen und Nachrichten</translation>
        </message>
        <message>
            <source>The description of the services, a JSON file</source>
            <translation>Die Beschreibung der Dienste, eine JSON-Datei</translation>
        </message>
        <message>
            <source>Ends after so many commands</source>
            <translation>Endet nach so vielen Kommandos</translation>
        </message>
        <message>
            <source>%1 is right; services: %2, commands: %3</source>
            <translation>%1 ist richtig; Dienste: %2, Kommandos: %3</translation>
        </message>
        <message>
            <source>this bus cannot tell who is there; a service with one of these names loses its connection to its stand-in</source>
            <translation>dieser Bus kann nicht sagen, wer da ist; ein Dienst mit einem dieser Namen verliert seine Verbindung an seinen Stellvertreter</translation>
        </message>
        <message>
            <source>on the bus already: %1; --replace takes the names from them</source>
            <translation>schon auf dem Bus: %1; --replace nimmt ihnen die Namen</translation>
        </message>
        <message>
            <source>Shows every frame of every client, until interrupted</source>
            <translation>Zeigt jeden Frame jedes Clients bis zur Unterbrechung</translation>
        </message>
        <message>
            <source>Filters are combined: a frame must fit all of them. A reply counts like its request.</source>
            <translation>Filter wirken zusammen: ein Frame muss zu allen passen. Eine Antwort zählt wie ihre Anfrage.</translation>
        </message>
        <message>
            <source>Begins with the last N of the past that fit, as far as the bus has kept them</source>
            <translation>Beginnt mit den letzten N passenden der Vergangenheit, soweit der Bus sie aufgehoben hat</translation>
        </message>
        <message>
            <source>Ends after so many frames</source>
            <translation>Endet nach so vielen Frames</translation>
        </message>
        <message>
            <source>--count must be a whole number from 1 to %1, not "%2"</source>
            <translation>--count muss eine ganze Zahl von 1 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>%1 must be a number of seconds from 0.001 to 2000000, not "%2"</source>
            <translation>%1 muss eine Zahl von Sekunden von 0.001 bis 2000000 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>Clients' names; the own name when there is none</source>
            <translation>Namen von Clients; ohne Angabe der eigene</translation>
        </message>
        <message>
            <source>Ends after so many seconds: with status 4 when nothing came by then, or less than --count</source>
            <translation>Endet nach so vielen Sekunden: mit Status 4, wenn bis dahin nichts kam oder weniger als --count</translation>
        </message>
        <message>
            <source>Example: %1</source>
            <translation>Beispiel: %1</translation>
        </message>
        <message>
            <source>--matches is no regular expression: %1 at character %2</source>
            <translation>--matches ist kein regulärer Ausdruck: %1 bei Zeichen %2</translation>
        </message>
        <message>
            <source>Measures how long the bus takes to answer</source>
            <translation>Misst, wie lange der Bus für eine Antwort braucht</translation>
        </message>
        <message>
            <source>--interval must be a whole number of milliseconds from 0 to %1, not "%2"</source>
            <translation>--interval muss eine ganze Zahl von Millisekunden von 0 bis %1 sein, nicht "%2"</translation>
        </message>
        <message>
            <source>no answer came</source>
            <translation>es kam keine Antwort</translation>
        </message>
        <message>
            <source>The pause between two exchanges, in milliseconds; 10 without it</source>
            <translation>Die Pause zwischen zwei Austauschen in Millisekunden; 10 ohne Angabe</translation>
        </message>
        <message>
            <source>Ends after so many exchanges; 100 without it</source>
            <translation>Endet nach so vielen Austauschen; 100 ohne Angabe</translation>
        </message>
        <message>
            <source>Writes every frame of every client to a file, until interrupted</source>
            <translation>Schreibt jeden Frame jedes Clients in eine Datei, bis zur Unterbrechung</translation>
        </message>
        <message>
            <source>Replaces a file that is there already</source>
            <translation>Ersetzt eine vorhandene Datei</translation>
        </message>
        <message>
            <source>The file holds one JSON object a line; "tarvexctl replay" plays it. A filter takes the frames away that a replay may need.</source>
            <translation>Die Datei enthält je Zeile ein JSON-Objekt; "tarvexctl replay" spielt sie. Ein Filter nimmt Frames weg, die ein Abspielen vielleicht braucht.</translation>
        </message>
        <message>
            <source>recording to %1</source>
            <translation>zeichne in %1 auf</translation>
        </message>
        <message>
            <source>recorded 1 frame</source>
            <translation>1 Frame aufgezeichnet</translation>
        </message>
        <message numerus="yes">
            <source>recorded %n frames</source>
            <translation>
                <numerusform>%n Frame aufgezeichnet</numerusform>
                <numerusform>%n Frames aufgezeichnet</numerusform>
            </translation>
        </message>
        <message>
            <source>The file; - is stdout</source>
            <translation>Die Datei; - ist stdout</translation>
        </message>
        <message>
            <source>--speed must be a number from 0.001 to 1000000, or max, not "%1"</source>
            <translation>--speed muss eine Zahl von 0.001 bis 1000000 oder max sein, nicht "%1"</translation>
        </message>
        <message>
            <source>--patience must be a number of seconds from 0.001 to 3600, not "%1"</source>
            <translation>--patience muss eine Zahl von Sekunden von 0.001 bis 3600 sein, nicht "%1"</translation>
        </message>
        <message>
            <source>%1 is connected, and would lose its connections; end it, or choose other clients with --only, or take its place with --force</source>
            <translation>%1 ist verbunden und würde seine Verbindungen verlieren; ihn beenden, mit --only andere Clients wählen oder mit --force seinen Platz einnehmen</translation>
        </message>
        <message>
            <source>not everything was played within %1</source>
            <translation>innerhalb von %1 wurde nicht alles gespielt</translation>
        </message>
        <message>
            <source>Plays a recording: its clients to a bus, or its bus to a service</source>
            <translation>Spielt eine Aufzeichnung: ihre Clients einem Bus vor oder ihren Bus einem Dienst</translation>
        </message>
        <message>
            <source>Plays the bus: takes its ports and answers the services that connect</source>
            <translation>Spielt den Bus: nimmt dessen Ports und antwortet den Diensten, die sich verbinden</translation>
        </message>
        <message>
            <source>Each frame waits for Enter</source>
            <translation>Jeder Frame wartet auf die Eingabetaste</translation>
        </message>
        <message>
            <source>Only this client; for each client once more</source>
            <translation>Nur dieser Client; für jeden Client noch einmal</translation>
        </message>
        <message>
            <source>Also commands, which are carried out once more</source>
            <translation>Auch Kommandos, die dann noch einmal ausgeführt werden</translation>
        </message>
        <message>
            <source>Shows what comes back differently; the status is 1 then</source>
            <translation>Zeigt, was anders zurückkommt; der Status ist dann 1</translation>
        </message>
        <message>
            <source>With --diff: dates and uids must be the same as well</source>
            <translation>Mit --diff: auch Zeitangaben und uids müssen gleich sein</translation>
        </message>
        <message>
            <source>Also plays clients that are connected; they lose their connections</source>
            <translation>Spielt auch Clients, die verbunden sind; sie verlieren ihre Verbindungen</translation>
        </message>
        <message>
            <source>A command that is played prints a ticket again, so commands are left out without --with-commands.</source>
            <translation>Ein gespieltes Kommando druckt noch einmal eine Fahrkarte, also werden Kommandos ohne --with-commands weggelassen.</translation>
        </message>
        <message>
            <source>--strict needs --diff</source>
            <translation>--strict braucht --diff</translation>
        </message>
        <message>
            <source>--step reads stdin, so the recording must be a file</source>
            <translation>--step liest stdin, also muss die Aufzeichnung eine Datei sein</translation>
        </message>
        <message>
            <source>the last line is cut and was left out: the recorder was killed, most likely</source>
            <translation>die letzte Zeile ist abgeschnitten und wurde weggelassen: der Aufzeichner wurde wohl abgebrochen</translation>
        </message>
        <message>
            <source>--only: there is no client "%1" in the recording; there are %2</source>
            <translation>--only: in der Aufzeichnung gibt es keinen Client "%1"; es gibt %2</translation>
        </message>
        <message>
            <source>there is nothing to play in this recording</source>
            <translation>in dieser Aufzeichnung ist nichts zu spielen</translation>
        </message>
        <message>
            <source>left out 1 request whose data was too large to be recorded</source>
            <translation>1 Anfrage weggelassen, deren Daten zum Aufzeichnen zu groß waren</translation>
        </message>
        <message numerus="yes">
            <source>left out %n requests whose data was too large to be recorded</source>
            <translation>
                <numerusform>%n Anfrage weggelassen, deren Daten zum Aufzeichnen zu groß waren</numerusform>
                <numerusform>%n Anfragen weggelassen, deren Daten zum Aufzeichnen zu groß waren</numerusform>
            </translation>
        </message>
        <message>
            <source>left out 1 connection of which the client is not known</source>
            <translation>1 Verbindung weggelassen, deren Client nicht bekannt ist</translation>
        </message>
        <message numerus="yes">
            <source>left out %n connections of which the client is not known</source>
            <translation>
                <numerusform>%n Verbindung weggelassen, deren Client nicht bekannt ist</numerusform>
                <numerusform>%n Verbindungen weggelassen, deren Client nicht bekannt ist</numerusform>
            </translation>
        </message>
        <message>
            <source>playing the bus to %1</source>
            <translation>spiele den Bus für %1</translation>
        </message>
        <message>
            <source>left out 1 command; --with-commands plays them too</source>
            <translation>1 Kommando weggelassen; --with-commands spielt auch dieses</translation>
        </message>
        <message numerus="yes">
            <source>left out %n commands; --with-commands plays them too</source>
            <translation>
                <numerusform>%n Kommando weggelassen; --with-commands spielt auch dieses</numerusform>
                <numerusform>%n Kommandos weggelassen; --with-commands spielt auch diese</numerusform>
            </translation>
        </message>
        <message>
            <source>left out 1 bad frame</source>
            <translation>1 fehlerhaften Frame weggelassen</translation>
        </message>
        <message numerus="yes">
            <source>left out %n bad frames</source>
            <translation>
                <numerusform>%n fehlerhaften Frame weggelassen</numerusform>
                <numerusform>%n fehlerhafte Frames weggelassen</numerusform>
            </translation>
        </message>
        <message>
            <source>played 1 frame</source>
            <translation>1 Frame gespielt</translation>
        </message>
        <message numerus="yes">
            <source>played %n frames</source>
            <translation>
                <numerusform>%n Frame gespielt</numerusform>
                <numerusform>%n Frames gespielt</numerusform>
            </translation>
        </message>
        <message>
            <source>everything came back as recorded</source>
            <translation>alles kam zurück wie aufgezeichnet</translation>
        </message>
        <message>
            <source>1 difference from the recording</source>
            <translation>1 Unterschied zur Aufzeichnung</translation>
        </message>
        <message numerus="yes">
            <source>%n differences from the recording</source>
            <translation>
                <numerusform>%n Unterschied zur Aufzeichnung</numerusform>
                <numerusform>%n Unterschiede zur Aufzeichnung</numerusform>
            </translation>
        </message>
        <message>
            <source>The recording; - is stdin</source>
            <translation>Die Aufzeichnung; - ist stdin</translation>
        </message>
        <message>
            <source>So many times as fast as recorded, or max</source>
            <translation>So viel mal so schnell wie aufgezeichnet, oder max</translation>
        </message>
        <message>
            <source>How many seconds to wait for each recorded answer; 5 without it</source>
            <translation>Wie viele Sekunden auf jede aufgezeichnete Antwort gewartet wird; 5 ohne Angabe</translation>
        </message>
        <message>
            <source>Ends after so many seconds, with status 4 when not everything was played by then</source>
            <translation>Endet nach so vielen Sekunden, mit Status 4, wenn bis dahin nicht alles gespielt wurde</translation>
        </message>
        <message>
            <source>Sends a message to a client</source>
            <translation>Sendet einem Client eine Nachricht</translation>
        </message>
        <message>
            <source>The client that gets the message</source>
            <translation>Der Client, der die Nachricht bekommt</translation>
        </message>
        <message>
            <source>The message; with --command the command's data: KEY=VALUE for a text, KEY:=JSON for any other value; or all of it as one JSON object</source>
            <translation>Die Nachricht; mit --command die Daten des Kommandos: KEY=VALUE für einen Text, KEY:=JSON für einen anderen Wert; oder alles als ein JSON-Objekt</translation>
        </message>
        <message>
            <source>Sends the command of this name</source>
            <translation>Sendet das Kommando dieses Namens</translation>
        </message>
        <message>
            <source>--data is the data of a command: it needs --command</source>
            <translation>--data sind die Daten eines Kommandos: es braucht --command</translation>
        </message>
        <message>
            <source>send needs a TEXT, or a --command</source>
            <translation>send braucht einen TEXT oder ein --command</translation>
        </message>
        <message>
            <source>unexpected argument "%1"; a TEXT with blanks needs quotes</source>
            <translation>unerwartetes Argument "%1"; ein TEXT mit Leerzeichen braucht Anführungszeichen</translation>
        </message>
        <message>
            <source>sent to %1, UID %2</source>
            <translation>an %1 gesendet, UID %2</translation>
        </message>
        <message>
            <source>%1 has no settings</source>
            <translation>%1 hat keine Einstellungen</translation>
        </message>
        <message>
            <source>there is no record of %1 in %2</source>
            <translation>von %1 steht kein Datensatz in %2</translation>
        </message>
        <message>
            <source>%1 in %2</source>
            <translation>%1 in %2</translation>
        </message>
        <message>
            <source>Shows what differs between two settings records or files</source>
            <translation>Zeigt, worin sich zwei Datensätze oder Dateien mit Einstellungen unterscheiden</translation>
        </message>
        <message>
            <source>FROM and TO are clients' names, whatever they look like</source>
            <translation>FROM und TO sind Namen von Clients, wie auch immer sie aussehen</translation>
        </message>
        <message>
            <source>A name with a slash, or one that ends with .json or .jsonl, is a file, and - is stdin; any other name is a client's. The exit status is 1 when something differs.</source>
            <translation>Ein Name mit Schrägstrich oder einer, der auf .json oder .jsonl endet, ist eine Datei, und - ist stdin; jeder andere Name ist der eines Clients. Der Exit-Status ist 1, wenn sich etwas unterscheidet.</translation>
        </message>
        <message>
            <source>only one of FROM and TO can be stdin</source>
            <translation>nur eines von FROM und TO kann stdin sein</translation>
        </message>
        <message>
            <source>A client's name, or a file</source>
            <translation>Der Name eines Clients oder eine Datei</translation>
        </message>
        <message>
            <source>The same</source>
            <translation>Dasselbe</translation>
        </message>
        <message>
            <source>the text is empty</source>
            <translation>der Text ist leer</translation>
        </message>
        <message>
            <source>the text holds %1 records, not one</source>
            <translation>der Text enthält %1 Datensätze, nicht einen</translation>
        </message>
        <message>
            <source>the "owner" must stay "%1"; settings load saves for other owners</source>
            <translation>"owner" muss "%1" bleiben; settings load speichert für andere Besitzer</translation>
        </message>
        <message>
            <source>the text stays in %1</source>
            <translation>der Text bleibt in %1</translation>
        </message>
        <message>
            <source>the text is in %1 until it is saved</source>
            <translation>der Text ist in %1, bis er gespeichert ist</translation>
        </message>
        <message>
            <source>the settings of %1 were saved meanwhile; what is stored is left as it is</source>
            <translation>die Einstellungen von %1 wurden inzwischen gespeichert; was gespeichert ist, bleibt, wie es ist</translation>
        </message>
        <message>
            <source>the settings of %1 were removed meanwhile; what is stored is left as it is</source>
            <translation>die Einstellungen von %1 wurden inzwischen entfernt; was gespeichert ist, bleibt, wie es ist</translation>
        </message>
        <message>
            <source>Edit again?</source>
            <translation>Noch einmal bearbeiten?</translation>
        </message>
        <message>
            <source>given up</source>
            <translation>aufgegeben</translation>
        </message>
        <message>
            <source>saved the settings of %1: %2</source>
            <translation>Einstellungen von %1 gespeichert: %2</translation>
        </message>
        <message>
            <source>nothing was changed, so nothing is saved in the settings of %1</source>
            <translation>nichts wurde geändert, also wird in den Einstellungen von %1 nichts gespeichert</translation>
        </message>
        <message>
            <source>Opens the settings of a client in $VISUAL or $EDITOR</source>
            <translation>Öffnet die Einstellungen eines Clients in $VISUAL oder $EDITOR</translation>
        </message>
        <message>
            <source>The client's name</source>
            <translation>Der Name des Clients</translation>
        </message>
        <message>
            <source>%1, so %2 is left as it is</source>
            <translation>%1, also bleibt %2, wie es ist</translation>
        </message>
        <message>
            <source>this bus does not list what it stores</source>
            <translation>dieser Bus zählt nicht auf, was er speichert</translation>
        </message>
        <message>
            <source>%1 has no settings; nothing is exported</source>
            <translation>%1 hat keine Einstellungen; nichts wird exportiert</translation>
        </message>
        <message>
            <source>%1: %2; correct this in the document, because settings import refuses it</source>
            <translation>%1: %2; dies im Dokument berichtigen, weil settings import es ablehnt</translation>
        </message>
        <message>
            <source>Writes the settings of clients as one document</source>
            <translation>Schreibt die Einstellungen von Clients als ein Dokument</translation>
        </message>
        <message>
            <source>Clients' names; all that have settings when there is none</source>
            <translation>Namen von Clients; ohne Angabe alle, die Einstellungen haben</translation>
        </message>
        <message>
            <source>no settings are stored; the document holds no record</source>
            <translation>es sind keine Einstellungen gespeichert; das Dokument enthält keinen Datensatz</translation>
        </message>
        <message>
            <source>wrote the settings of %1 to %2</source>
            <translation>Einstellungen von %1 nach %2 geschrieben</translation>
        </message>
        <message>
            <source>nobody</source>
            <translation>niemandem</translation>
        </message>
        <message>
            <source>Writes to this file; it is replaced at once when all is written</source>
            <translation>Schreibt in diese Datei; sie wird auf einmal ersetzt, wenn alles geschrieben ist</translation>
        </message>
        <message>
            <source>Owner</source>
            <translation>Besitzer</translation>
        </message>
        <message>
            <source>Written</source>
            <translation>Geschrieben</translation>
        </message>
        <message>
            <source>Description</source>
            <translation>Beschreibung</translation>
        </message>
        <message>
            <source>Mail owner</source>
            <translation>Mail-Besitzer</translation>
        </message>
        <message>
            <source>no</source>
            <translation>nein</translation>
        </message>
        <message>
            <source>GROUP</source>
            <translation>GRUPPE</translation>
        </message>
        <message>
            <source>KEY</source>
            <translation>SCHLÜSSEL</translation>
        </message>
        <message>
            <source>VALUE</source>
            <translation>WERT</translation>
        </message>
        <message>
            <source>Shows the settings of clients</source>
            <translation>Zeigt die Einstellungen von Clients</translation>
        </message>
        <message>
            <source>not saved, because of an interruption</source>
            <translation>wegen einer Unterbrechung nicht gespeichert</translation>
        </message>
        <message>
            <source>saved meanwhile; what is stored is left as it is</source>
            <translation>inzwischen gespeichert; was gespeichert ist, bleibt, wie es ist</translation>
        </message>
        <message>
            <source>removed meanwhile; what is stored is left as it is</source>
            <translation>inzwischen entfernt; was gespeichert ist, bleibt, wie es ist</translation>
        </message>
        <message>
            <source>%1 was saved meanwhile</source>
            <translation>%1 wurde inzwischen gespeichert</translation>
        </message>
        <message>
            <source>%1 was removed meanwhile</source>
            <translation>%1 wurde inzwischen entfernt</translation>
        </message>
        <message>
            <source>the settings of %1 may not be what they were</source>
            <translation>die Einstellungen von %1 sind vielleicht nicht mehr, was sie waren</translation>
        </message>
        <message>
            <source>%1; what was stored before is in %2, for settings import</source>
            <translation>%1; was vorher gespeichert war, steht in %2, für settings import</translation>
        </message>
        <message>
            <source>%1; what was stored before: %2</source>
            <translation>%1; was vorher gespeichert war: %2</translation>
        </message>
        <message>
            <source>nothing was saved</source>
            <translation>nichts wurde gespeichert</translation>
        </message>
        <message>
            <source>what was saved before that is put back: all is as it was</source>
            <translation>was davor gespeichert wurde, ist zurückgestellt: alles ist, wie es war</translation>
        </message>
        <message>
            <source>not all could be put back (%1): %2</source>
            <translation>nicht alles konnte zurückgestellt werden (%1): %2</translation>
        </message>
        <message>
            <source>%1 of %2 records is stored like this already</source>
            <translation>%1 von %2 Datensätzen ist schon so gespeichert</translation>
        </message>
        <message>
            <source>%1 of %2 records are stored like this already</source>
            <translation>%1 von %2 Datensätzen sind schon so gespeichert</translation>
        </message>
        <message>
            <source>Saves the records of a file: all of them or none</source>
            <translation>Speichert die Datensätze einer Datei: alle oder keinen</translation>
        </message>
        <message>
            <source>Shows what would change, and saves nothing</source>
            <translation>Zeigt, was sich ändern würde, und speichert nichts</translation>
        </message>
        <message>
            <source>all records were saved before the interruption</source>
            <translation>alle Datensätze wurden vor der Unterbrechung gespeichert</translation>
        </message>
        <message>
            <source>nothing is saved, because of --dry-run</source>
            <translation>wegen --dry-run wird nichts gespeichert</translation>
        </message>
        <message>
            <source>A file of settings export or get; - is stdin</source>
            <translation>Eine Datei von settings export oder get; - ist stdin</translation>
        </message>
        <message>
            <source>Saves records as settings get and export write them</source>
            <translation>Speichert Datensätze, wie settings get und export sie schreiben</translation>
        </message>
        <message>
            <source>The file with the records; stdin when it is - or missing</source>
            <translation>Die Datei mit den Datensätzen; mit - oder ohne Angabe stdin</translation>
        </message>
        <message>
            <source>there is no setting %1/%2 in the settings of %3</source>
            <translation>es gibt keine Einstellung %1/%2 in den Einstellungen von %3</translation>
        </message>
        <message>
            <source>Removes one setting; the others stay</source>
            <translation>Entfernt eine Einstellung; die anderen bleiben</translation>
        </message>
        <message>
            <source>removed %1/%2 from the settings of %3</source>
            <translation>%1/%2 aus den Einstellungen von %3 entfernt</translation>
        </message>
        <message>
            <source>The setting's group; may be empty</source>
            <translation>Die Gruppe der Einstellung; darf leer sein</translation>
        </message>
        <message>
            <source>The setting's name within the group</source>
            <translation>Der Name der Einstellung in der Gruppe</translation>
        </message>
        <message>
            <source>Removes all settings of a client</source>
            <translation>Entfernt alle Einstellungen eines Clients</translation>
        </message>
        <message>
            <source>removed the settings of %1</source>
            <translation>Einstellungen von %1 entfernt</translation>
        </message>
        <message>
            <source>"%1/%2" is stored already, with the slash between group and key at another place</source>
            <translation>"%1/%2" ist schon gespeichert, mit dem Schrägstrich zwischen Gruppe und Schlüssel an anderer Stelle</translation>
        </message>
        <message>
            <source>saved %1/%2 = %3 in the settings of %4</source>
            <translation>%1/%2 = %3 in den Einstellungen von %4 gespeichert</translation>
        </message>
        <message>
            <source>saved %1/%2 = %3 in the settings of %4 (its first)</source>
            <translation>%1/%2 = %3 in den Einstellungen von %4 gespeichert (seine ersten)</translation>
        </message>
        <message>
            <source>Stores one setting, beside those that are stored</source>
            <translation>Speichert eine Einstellung neben den gespeicherten</translation>
        </message>
        <message>
            <source>Takes VALUE as a text even if it is JSON</source>
            <translation>Nimmt VALUE als Text, auch wenn es JSON ist</translation>
        </message>
        <message>
            <source>The value: JSON, or else a text</source>
            <translation>Der Wert: JSON oder sonst ein Text</translation>
        </message>
        <message>
            <source>A new description of the client's settings</source>
            <translation>Eine neue Beschreibung der Einstellungen des Clients</translation>
        </message>
        <message>
            <source>no change came</source>
            <translation>es kam keine Änderung</translation>
        </message>
        <message>
            <source>no settings</source>
            <translation>keine Einstellungen</translation>
        </message>
        <message>
            <source>watching the settings of %1</source>
            <translation>beobachte die Einstellungen von %1</translation>
        </message>
        <message>
            <source>Shows each change of the settings of clients</source>
            <translation>Zeigt jede Änderung der Einstellungen von Clients</translation>
        </message>
        <message>
            <source>Clients' names</source>
            <translation>Namen von Clients</translation>
        </message>
        <message>
            <source>Looks again after so many milliseconds, 50 to 3600000</source>
            <translation>Sieht nach so vielen Millisekunden wieder nach, 50 bis 3600000</translation>
        </message>
        <message>
            <source>--interval must be a whole number of milliseconds from %1 to %2, not "%3"</source>
            <translation>--interval muss eine ganze Zahl von Millisekunden von %1 bis %2 sein, nicht "%3"</translation>
        </message>
        <message>
            <source>Ends after so many changes</source>
            <translation>Endet nach so vielen Änderungen</translation>
        </message>
        <message>
            <source>Taken</source>
            <translation>Erfasst</translation>
        </message>
        <message>
            <source>Type</source>
            <translation>Typ</translation>
        </message>
        <message>
            <source>State</source>
            <translation>Zustand</translation>
        </message>
        <message>
            <source>Shows the states of clients</source>
            <translation>Zeigt die Zustände von Clients</translation>
        </message>
        <message>
            <source>Stores a state under the own name</source>
            <translation>Speichert einen Zustand unter dem eigenen Namen</translation>
        </message>
        <message>
            <source>The kind of state, a number from 0 to 127</source>
            <translation>Die Art des Zustands, eine Zahl von 0 bis 127</translation>
        </message>
        <message>
            <source>saved the state of %1</source>
            <translation>Zustand von %1 gespeichert</translation>
        </message>
        <message>
            <source>The state, usually a JSON text</source>
            <translation>Der Zustand, meist ein JSON-Text</translation>
        </message>
        <message>
            <source>A text for people</source>
            <translation>Ein Text für Menschen</translation>
        </message>
        <message>
            <source>Shows the states of clients, and then each change</source>
            <translation>Zeigt die Zustände von Clients und dann jede Änderung</translation>
        </message>
        <message>
            <source>Shows of each change only what differs from the state before</source>
            <translation>Zeigt bei jeder Änderung nur, was vom Zustand davor abweicht</translation>
        </message>
        <message>
            <source>this bus does not tell who is there; only the states of the %1 names that the library knows are asked for</source>
            <translation>dieser Bus sagt nicht, wer da ist; nur nach den Zuständen der %1 Namen, die die Bibliothek kennt, wird gefragt</translation>
        </message>
        <message>
            <source>%1 h %2 min</source>
            <translation>%1 h %2 min</translation>
        </message>
        <message>
            <source>in memory</source>
            <translation>im Arbeitsspeicher</translation>
        </message>
        <message>
            <source>%1 FAILS: %2</source>
            <translation>%1 VERSAGT: %2</translation>
        </message>
        <message>
            <source>Bus</source>
            <translation>Bus</translation>
        </message>
        <message>
            <source>development bus</source>
            <translation>Entwicklungsbus</translation>
        </message>
        <message>
            <source>development bus %1, process %2</source>
            <translation>Entwicklungsbus %1, Prozess %2</translation>
        </message>
        <message>
            <source>Running</source>
            <translation>Läuft</translation>
        </message>
        <message>
            <source>since %1 (%2)</source>
            <translation>seit %1 (%2)</translation>
        </message>
        <message>
            <source>Storage</source>
            <translation>Speicher</translation>
        </message>
        <message>
            <source>Traffic</source>
            <translation>Verkehr</translation>
        </message>
        <message>
            <source>connections %1, requests so far %2, acknowledged messages %3</source>
            <translation>Verbindungen %1, Anfragen bisher %2, bestätigte Nachrichten %3</translation>
        </message>
        <message>
            <source>receiver only</source>
            <translation>nur receiver</translation>
        </message>
        <message>
            <source>both</source>
            <translation>beide</translation>
        </message>
        <message>
            <source>query only</source>
            <translation>nur query</translation>
        </message>
        <message>
            <source>%1 (%2 query)</source>
            <translation>%1 (%2 query)</translation>
        </message>
        <message>
            <source>STATE SINCE</source>
            <translation>ZUSTAND SEIT</translation>
        </message>
        <message>
            <source>CLIENT</source>
            <translation>CLIENT</translation>
        </message>
        <message>
            <source>CONNECTIONS</source>
            <translation>VERBINDUNGEN</translation>
        </message>
        <message>
            <source>and %1 more: see "tarvexctl clients" and "tarvexctl state list"</source>
            <translation>und %1 weitere: siehe "tarvexctl clients" und "tarvexctl state list"</translation>
        </message>
        <message>
            <source>another one than a development bus of this user</source>
            <translation>ein anderer als ein Entwicklungsbus dieses Benutzers</translation>
        </message>
        <message>
            <source>Answer</source>
            <translation>Antwort</translation>
        </message>
        <message>
            <source>after %1</source>
            <translation>nach %1</translation>
        </message>
        <message>
            <source>none</source>
            <translation>keine</translation>
        </message>
        <message>
            <source>%1; "tarvex-devbus" starts a development bus, "tarvexctl --help" shows the verbs</source>
            <translation>%1; "tarvex-devbus" startet einen Entwicklungsbus, "tarvexctl --help" zeigt die Verben</translation>
        </message>
        <message>
            <source>Shows the bus, its clients and their states at a glance; also without a verb</source>
            <translation>Zeigt den Bus, seine Clients und ihre Zustände auf einen Blick; auch ohne Verb</translation>
        </message>
        <message>
            <source>How many seconds to wait for the bus</source>
            <translation>Wie viele Sekunden auf den Bus gewartet wird</translation>
        </message>
        <message>
            <source>the goal of a subscription must be 1, 2 or 3, not "%1"; a name that holds a colon needs one after it: "%2:3"</source>
            <translation>das Ziel eines Abonnements muss 1, 2 oder 3 sein, nicht "%1"; ein Name mit Doppelpunkt braucht einen dahinter: "%2:3"</translation>
        </message>
        <message>
            <source>"%1" is given twice with --subscribe</source>
            <translation>"%1" steht zweimal bei --subscribe</translation>
        </message>
        <message>
            <source>Also what PUBLISHER publishes: its states (1), its messages to nobody in particular (2), or both (3, and without a goal); for each publisher once more</source>
            <translation>Auch, was PUBLISHER veröffentlicht: seine Zustände (1), seine Nachrichten an niemand Bestimmten (2) oder beides (3 und ohne Ziel); für jeden Veröffentlicher noch einmal</translation>
        </message>
        <message>
            <source>The stored settings of a client</source>
            <translation>Die gespeicherten Einstellungen eines Clients</translation>
        </message>
        <message>
            <source>The current state of a client</source>
            <translation>Der gegenwärtige Zustand eines Clients</translation>
        </message>
        <message>
            <source>Faults on purpose, on a development bus</source>
            <translation>Absichtliche Fehler auf einem Entwicklungsbus</translation>
        </message>
        <message>
            <source>Waits until a bus answers, or for a client, a state or a message</source>
            <translation>Wartet, bis ein Bus antwortet, oder auf einen Client, einen Zustand oder eine Nachricht</translation>
        </message>
        <message>
            <source>How many seconds to wait</source>
            <translation>Wie viele Sekunden gewartet wird</translation>
        </message>
        <message>
            <source>waiting for "%1"</source>
            <translation>warte auf "%1"</translation>
        </message>
        <message>
            <source>only the query connection of "%1" is there after %2</source>
            <translation>nach %2 ist nur die Query-Verbindung von "%1" da</translation>
        </message>
        <message>
            <source>only the receiving connection of "%1" is there after %2</source>
            <translation>nach %2 ist nur die Empfangsverbindung von "%1" da</translation>
        </message>
        <message>
            <source>"%1" has not connected within %2%3</source>
            <translation>"%1" hat sich innerhalb von %2 nicht verbunden%3</translation>
        </message>
        <message>
            <source>Waits until both connections of a client are there</source>
            <translation>Wartet, bis beide Verbindungen eines Clients da sind</translation>
        </message>
        <message>
            <source>no such message came within %1</source>
            <translation>innerhalb von %1 kam keine solche Nachricht</translation>
        </message>
        <message>
            <source>waiting as %1</source>
            <translation>warte als %1</translation>
        </message>
        <message>
            <source>Waits for a message, and shows it</source>
            <translation>Wartet auf eine Nachricht und zeigt sie</translation>
        </message>
        <message>
            <source>It comes from this client</source>
            <translation>Sie kommt von diesem Client</translation>
        </message>
        <message>
            <source>It is the command of this name</source>
            <translation>Sie ist das Kommando dieses Namens</translation>
        </message>
        <message>
            <source>Its text holds something that matches this regular expression</source>
            <translation>Ihr Text enthält etwas, das zu diesem regulären Ausdruck passt</translation>
        </message>
        <message>
            <source>%1 has no state after %2</source>
            <translation>%1 hat nach %2 keinen Zustand</translation>
        </message>
        <message>
            <source>the state of %1 did not become that within %2; it is, with type %3: %4</source>
            <translation>der Zustand von %1 wurde innerhalb von %2 nicht so; er ist, mit Typ %3: %4</translation>
        </message>
        <message>
            <source>Waits for a state of a client, and shows it</source>
            <translation>Wartet auf einen Zustand eines Clients und zeigt ihn</translation>
        </message>
        <message>
            <source>The client whose state it is</source>
            <translation>Der Client, dessen Zustand es ist</translation>
        </message>
        <message>
            <source>The state holds something that matches this regular expression</source>
            <translation>Der Zustand enthält etwas, das zu diesem regulären Ausdruck passt</translation>
        </message>
        <message>
            <source>The state is exactly this text</source>
            <translation>Der Zustand ist genau dieser Text</translation>
        </message>
        <message>
            <source>The state is of this kind, a number from 0 to 127</source>
            <translation>Der Zustand ist von dieser Art, eine Zahl von 0 bis 127</translation>
        </message>
        <message>
            <source>TAKEN</source>
            <comment>the name, so often</comment>
            <translation>ÜBERNOMMEN</translation>
        </message>
        <message>
            <source>known to the library</source>
            <translation>der Bibliothek bekannt</translation>
        </message>
        <message>
            <source>connected</source>
            <translation>verbunden</translation>
        </message>
        <message>
            <source>not connected</source>
            <translation>nicht verbunden</translation>
        </message>
        <message>
            <source>the present value</source>
            <translation>der jetzige Wert</translation>
        </message>
        <message>
            <source>seen to %1</source>
            <translation>gesehen an %1</translation>
        </message>
        <message>
            <source>all subscribers</source>
            <translation>alle Abonnenten</translation>
        </message>
        <message>
            <source>frames from and to this client</source>
            <translation>Frames von diesem und an diesen Client</translation>
        </message>
        <message>
            <source>frames on this connection</source>
            <translation>Frames auf dieser Verbindung</translation>
        </message>
        <message>
            <source>replies or pushes</source>
            <translation>Antworten oder Zustellungen</translation>
        </message>
        <message>
            <source>frames of this operation</source>
            <translation>Frames dieser Operation</translation>
        </message>
        <message>
            <source>messages with this command</source>
            <translation>Nachrichten mit diesem Kommando</translation>
        </message>
        <message>
            <source>only the frame of this number among those that fit</source>
            <translation>nur der Frame dieser Nummer unter den passenden</translation>
        </message>
        <message>
            <source>from the frame of this number on</source>
            <translation>ab dem Frame dieser Nummer</translation>
        </message>
        <message>
            <source>only once</source>
            <translation>nur einmal</translation>
        </message>
        <message>
            <source>every time</source>
            <translation>jedes Mal</translation>
        </message>
        <message>
            <source>by chance</source>
            <translation>nach Zufall</translation>
        </message>
        <message>
            <source>the chance's seed</source>
            <translation>der Startwert des Zufalls</translation>
        </message>
        <message>
            <source>the effect</source>
            <translation>die Wirkung</translation>
        </message>
        <message>
            <source>the bus itself</source>
            <translation>der Bus selbst</translation>
        </message>
        <message>
            <source>complete is for the shells: complete bash|zsh|fish -- WORD...</source>
            <translation>complete ist für die Shells: complete bash|zsh|fish -- WORD...</translation>
        </message>
        <message>
            <source>it must begin with a small letter, and letters, digits and single underscores follow</source>
            <translation>er muss mit einem Kleinbuchstaben beginnen, und es folgen Buchstaben, Ziffern und einzelne Unterstriche</translation>
        </message>
        <message>
            <source>it must not have more than %1 characters</source>
            <translation>er darf nicht mehr als %1 Zeichen haben</translation>
        </message>
        <message>
            <source>it is a word of C++</source>
            <translation>er ist ein Wort von C++</translation>
        </message>
        <message>
            <source>the library keeps this command to itself</source>
            <translation>die Bibliothek behält sich dieses Kommando vor</translation>
        </message>
        <message>
            <source>the class of the commands has a member of this name</source>
            <translation>die Klasse der Kommandos hat ein Element dieses Namens</translation>
        </message>
        <message>
            <source>it is given twice</source>
            <translation>er steht zweimal da</translation>
        </message>
        <message>
            <source>no command can be called "%1": %2</source>
            <translation>kein Kommando kann "%1" heißen: %2</translation>
        </message>
        <message>
            <source>cannot write %1: %2; nothing was written</source>
            <translation>kann %1 nicht schreiben: %2; nichts wurde geschrieben</translation>
        </message>
        <message>
            <source>%1 is there already and is left as it is</source>
            <translation>%1 ist schon da und bleibt, wie es ist</translation>
        </message>
        <message>
            <source>it must begin with a small letter, and small letters and digits follow, with single underscores or hyphens between them</source>
            <translation>er muss mit einem Kleinbuchstaben beginnen, und es folgen Kleinbuchstaben und Ziffern, mit einzelnen Unterstrichen oder Bindestrichen dazwischen</translation>
        </message>
        <message>
            <source>it must have 2 to %1 characters</source>
            <translation>er muss 2 bis %1 Zeichen haben</translation>
        </message>
        <message>
            <source>names that begin like this belong to the library and its programs</source>
            <translation>Namen, die so beginnen, gehören der Bibliothek und ihren Programmen</translation>
        </message>
        <message>
            <source>the build has a target or a folder of this name</source>
            <translation>der Build hat ein Ziel oder einen Ordner dieses Namens</translation>
        </message>
        <message>
            <source>no service can be called "%1": %2</source>
            <translation>kein Dienst kann "%1" heißen: %2</translation>
        </message>
        <message>
            <source>%1 is one of the names that the library knows: tarvex::BUSNAME_%2</source>
            <translation>%1 ist einer der Namen, die die Bibliothek kennt: tarvex::BUSNAME_%2</translation>
        </message>
        <message>
            <source>%1 is a program of this machine; the package of the service replaces no program</source>
            <translation>%1 ist ein Programm dieses Rechners; das Paket des Dienstes ersetzt kein Programm</translation>
        </message>
        <message>
            <source>%1 is a user of this machine; systemd would run the service as this user</source>
            <translation>%1 ist ein Benutzer dieses Rechners; systemd würde den Dienst als dieser Benutzer ausführen</translation>
        </message>
        <message>
            <source>Writes a new service, with its test and its package</source>
            <translation>Schreibt einen neuen Dienst mit Test und Paket</translation>
        </message>
        <message>
            <source>The service is written to a folder of its own, which is called NAME. It builds with CMake and runs as it is; its README.md has the first commands. No bus is needed.</source>
            <translation>Der Dienst wird in einen eigenen Ordner geschrieben, der NAME heißt. Er lässt sich mit CMake bauen und läuft, wie er ist; die ersten Befehle stehen in seiner README.md. Ein Bus wird nicht gebraucht.</translation>
        </message>
        <message>
            <source>The name of the service on the bus; files and classes are named after it</source>
            <translation>Der Name des Dienstes auf dem Bus; Dateien und Klassen werden danach benannt</translation>
        </message>
        <message>
            <source>The commands that it carries out, with commas between their names. Without the option they are blink,beep</source>
            <translation>Die Kommandos, die er ausführt, mit Kommas zwischen den Namen. Ohne die Option sind es blink,beep</translation>
        </message>
        <message>
            <source>The folder in which the service's folder is made. Without the option it is the current one</source>
            <translation>Der Ordner, in dem der Ordner des Dienstes angelegt wird. Ohne die Option ist es der aktuelle</translation>
        </message>
        <message>
            <source>wrote the service %1 to %2; its README.md has the first commands</source>
            <translation>Dienst %1 nach %2 geschrieben; die ersten Befehle stehen in seiner README.md</translation>
        </message>
        <message>
            <source>your name and mail address are not known; write them for "Your Name" in %1/debian</source>
            <translation>Name und Mailadresse sind nicht bekannt; sie in %1/debian für "Your Name" eintragen</translation>
        </message>
        <message>
            <source>no right to capture: only root and the members of the group %1 may start %2</source>
            <translation>kein Recht zum Mitschneiden: %2 darf nur von root und den Mitgliedern der Gruppe %1 gestartet werden</translation>
        </message>
        <message>
            <source>1 client</source>
            <translation>1 Client</translation>
        </message>
        <message numerus="yes">
            <source>%n clients</source>
            <translation>
                <numerusform>%n Client</numerusform>
                <numerusform>%n Clients</numerusform>
            </translation>
        </message>
        <message>
            <source>there is no folder for it that belongs to this user alone</source>
            <translation>es gibt dafür keinen Ordner, der diesem Benutzer allein gehört</translation>
        </message>
        <message>
            <source>it is no regular file</source>
            <translation>es ist keine reguläre Datei</translation>
        </message>
        <message>
            <source>it is a link that leads nowhere</source>
            <translation>es ist ein Link, der nirgendwohin führt</translation>
        </message>
        <message>
            <source>it is a link to "%1", whose folder does not exist</source>
            <translation>es ist ein Link auf "%1", dessen Ordner es nicht gibt</translation>
        </message>
        <message>
            <source>its folder does not exist</source>
            <translation>den Ordner dafür gibt es nicht</translation>
        </message>
        <message>
            <source>it is a database of another program</source>
            <translation>es ist eine Datenbank eines anderen Programms</translation>
        </message>
        <message>
            <source>it was made by another version of this program</source>
            <translation>er wurde von einer anderen Version dieses Programms angelegt</translation>
        </message>
        <message>
            <source>it is damaged: %1</source>
            <translation>er ist beschädigt: %1</translation>
        </message>
        <message>
            <source>it is damaged: tables are missing</source>
            <translation>er ist beschädigt: Tabellen fehlen</translation>
        </message>
        <message>
            <source>the file was removed or replaced</source>
            <translation>die Datei wurde entfernt oder ersetzt</translation>
        </message>
        <message>
            <source>%1 needs gaps from 0 to %2 ms, not %3</source>
            <translation>%1 braucht Pausen von 0 bis %2 ms, nicht %3</translation>
        </message>
        <message>
            <source>probability must be a number from 0 to 1, not %1</source>
            <translation>probability muss eine Zahl von 0 bis 1 sein, nicht %1</translation>
        </message>
        <message>
            <source>nth and from must be numbers from 1 on, not %1</source>
            <translation>nth und from müssen Zahlen ab 1 sein, nicht %1</translation>
        </message>
        <message>
            <source>do=size needs a number of bytes too many (+1) or too few (-1), not 0</source>
            <translation>do=size braucht eine Zahl von Bytes zu viel (+1) oder zu wenig (-1), nicht 0</translation>
        </message>
        <message>
            <source>do=operation needs the name of an operation</source>
            <translation>do=operation braucht den Namen einer Operation</translation>
        </message>
        <message>
            <source>do=sizeline needs a text of one line</source>
            <translation>do=sizeline braucht einen Text aus einer Zeile</translation>
        </message>
        <message>
            <source>seed needs probability=P, or do=damage: nothing else is left to chance</source>
            <translation>seed braucht probability=P oder do=damage: sonst hängt nichts vom Zufall ab</translation>
        </message>
        <message>
            <source>frame=push excludes port=query: pushes are on the receiver port</source>
            <translation>frame=push schließt port=query aus: Zustellungen gibt es auf dem Port receiver</translation>
        </message>
        <message>
            <source>do=again applies to pushes only, which are on the receiver port</source>
            <translation>do=again gilt nur für Zustellungen, und die gibt es auf dem Port receiver</translation>
        </message>
        <message>
            <source>%1 applies to replies only, not with frame=push</source>
            <translation>%1 gilt nur für Antworten, nicht mit frame=push</translation>
        </message>
        <message>
            <source>a push is always operation=sendMessage, not %1</source>
            <translation>eine Zustellung ist immer operation=sendMessage, nicht %1</translation>
        </message>
        <message>
            <source>command applies to operation=sendMessage only, not to %1</source>
            <translation>command gilt nur für operation=sendMessage, nicht für %1</translation>
        </message>
        <message>
            <source>port=receiver has the operations handshake and sendMessage only, not %1</source>
            <translation>port=receiver hat nur die Operationen handshake und sendMessage, nicht %1</translation>
        </message>
        <message>
            <source>on port=receiver the bus replies to handshakes only</source>
            <translation>auf port=receiver antwortet der Bus nur auf Handshakes</translation>
        </message>
        <message>
            <source>%1 must be %2 or %3, not %4</source>
            <translation>%1 muss %2 oder %3 sein, nicht %4</translation>
        </message>
        <message>
            <source>"do=" is missing; possible are %1</source>
            <translation>"do=" fehlt; möglich sind %1</translation>
        </message>
        <message>
            <source>a double quote is missing at the end of "%1"</source>
            <translation>am Ende von "%1" fehlt ein doppeltes Anführungszeichen</translation>
        </message>
        <message>
            <source>unknown word "%1"; possible are %2</source>
            <translation>unbekanntes Wort "%1"; möglich sind %2</translation>
        </message>
        <message>
            <source>"%1=" needs a value</source>
            <translation>"%1=" braucht einen Wert</translation>
        </message>
        <message>
            <source>"%1" is given twice</source>
            <translation>"%1" steht zweimal da</translation>
        </message>
        <message>
            <source>"%1" and "%2" exclude each other: only one of nth, from, once and every is possible</source>
            <translation>"%1" und "%2" schließen einander aus: nur eines von nth, from, once und every ist möglich</translation>
        </message>
        <message>
            <source>operation=%1 is not possible; possible are %2</source>
            <translation>operation=%1 ist nicht möglich; möglich sind %2</translation>
        </message>
        <message>
            <source>do=%1 is not possible; possible are %2</source>
            <translation>do=%1 ist nicht möglich; möglich sind %2</translation>
        </message>
        <message>
            <source>do=%1 is not possible; it must be do=%2%3</source>
            <translation>do=%1 ist nicht möglich; es muss do=%2%3 sein</translation>
        </message>
        <message>
            <source>the level of %1 must be %2 or %3, not %4</source>
            <translation>die Ebene von %1 muss %2 oder %3 sein, nicht %4</translation>
        </message>
        <message>
            <source>%1 needs a whole number, not %2</source>
            <translation>%1 braucht eine ganze Zahl, nicht %2</translation>
        </message>
        <message>
            <source>%1 takes no number, but there is %4</source>
            <translation>%1 nimmt keine Zahl, aber da ist %4</translation>
        </message>
        <message>
            <source>%1 needs a code from %2 to %3, not %4</source>
            <translation>%1 braucht einen Code von %2 bis %3, nicht %4</translation>
        </message>
        <message>
            <source>%1 needs a time in ms from %2 to %3, not %4</source>
            <translation>%1 braucht eine Zeit in ms von %2 bis %3, nicht %4</translation>
        </message>
        <message>
            <source>%1 needs a number of bytes from %2 to %3, not %4</source>
            <translation>%1 braucht eine Zahl von Bytes von %2 bis %3, nicht %4</translation>
        </message>
        <message>
            <source>%1 needs a number of bytes a second from %2 to %3, not %4</source>
            <translation>%1 braucht eine Zahl von Bytes je Sekunde von %2 bis %3, nicht %4</translation>
        </message>
        <message>
            <source>%1 port %2</source>
            <translation>%1 Port %2</translation>
        </message>
        <message>
            <source>something that is no socket</source>
            <translation>etwas, das kein Socket ist</translation>
        </message>
        <message>
            <source>a socket that is not of the Internet's families</source>
            <translation>ein Socket, das nicht zum Internet gehört</translation>
        </message>
        <message>
            <source>a socket of %1 that is not for TCP</source>
            <translation>ein Socket von %1, das nicht für TCP ist</translation>
        </message>
        <message>
            <source>a TCP socket of %1 that listens</source>
            <translation>ein lauschendes TCP-Socket von %1</translation>
        </message>
        <message>
            <source>a TCP socket of %1 that does not listen</source>
            <translation>ein nicht lauschendes TCP-Socket von %1</translation>
        </message>
        <message>
            <source>systemd has passed %1; the bus takes one listening TCP socket of 127.0.0.1 port %2 and one of port %3, or none</source>
            <translation>systemd hat dies übergeben: %1; der Bus nimmt ein lauschendes TCP-Socket von 127.0.0.1 Port %2 und eines von Port %3, oder keines</translation>
        </message>
        <message>
            <source>two sockets of port %1</source>
            <translation>zwei Sockets von Port %1</translation>
        </message>
        <message>
            <source>cannot tell which sockets systemd has passed: %1</source>
            <translation>kann nicht feststellen, welche Sockets systemd übergeben hat: %1</translation>
        </message>
        <message>
            <source>no socket of port %1</source>
            <translation>kein Socket von Port %1</translation>
        </message>
        <message>
            <source>a record cannot be read</source>
            <translation>ein Datensatz kann nicht gelesen werden</translation>
        </message>
        <message>
            <source>a message cannot be read</source>
            <translation>eine Nachricht kann nicht gelesen werden</translation>
        </message>
    </context>
</TS>
