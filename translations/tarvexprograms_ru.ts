<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
    <context>
        <name>QCommandLineParser</name>
        <message>
            <source>Options:</source>
            <translation>Параметры:</translation>
        </message>
        <message>
            <source>Missing value after '%1'.</source>
            <translation>После '%1' нет значения.</translation>
        </message>
        <message>
            <source>Unexpected value after '%1'.</source>
            <translation>После '%1' стоит неожиданное значение.</translation>
        </message>
    </context>
    <context>
        <name>Words</name>
        <message>
            <source>; did you mean "%1"?</source>
            <translation>; возможно, имелось в виду "%1"?</translation>
        </message>
        <message>
            <source>%1 events are not shown, because they came faster than they were taken</source>
            <translation>не показано событий: %1, потому что они приходили быстрее, чем их забирали</translation>
        </message>
        <message>
            <source>the description</source>
            <translation>описание</translation>
        </message>
        <message>
            <source>"services" is needed, an object with the names of the services</source>
            <translation>нужен "services", объект с именами служб</translation>
        </message>
        <message>
            <source>%1 must be an object</source>
            <translation>%1: нужен объект</translation>
        </message>
        <message>
            <source>"%1" is no part of %2</source>
            <translation>"%1" не входит в: %2</translation>
        </message>
        <message>
            <source>%1 must be a text</source>
            <translation>%1: нужен текст</translation>
        </message>
        <message>
            <source>%1 must not be empty</source>
            <translation>%1: не должно быть пусто</translation>
        </message>
        <message>
            <source>%1 must be a whole number from 0 to %2</source>
            <translation>%1: нужно целое число от 0 до %2</translation>
        </message>
        <message>
            <source>%1 must be true or false</source>
            <translation>%1: нужно true или false</translation>
        </message>
        <message>
            <source>nothing is filled in here: %1</source>
            <translation>здесь ничего не подставляется: %1</translation>
        </message>
        <message>
            <source>%1 must be an object, or a text that is exactly one placeholder</source>
            <translation>%1: нужен объект или текст ровно из одной подстановки</translation>
        </message>
        <message>
            <source>the name of a service must not be empty</source>
            <translation>имя службы не должно быть пустым</translation>
        </message>
        <message>
            <source>a service</source>
            <translation>служба</translation>
        </message>
        <message>
            <source>"replaceSettings" needs "settings" beside it</source>
            <translation>"replaceSettings" требует рядом "settings"</translation>
        </message>
        <message>
            <source>"commands" must be an object with the names of the commands</source>
            <translation>"commands" должен быть объектом с именами команд</translation>
        </message>
        <message>
            <source>a state</source>
            <translation>состояние</translation>
        </message>
        <message>
            <source>a state needs a "text", a "type" or a "description"</source>
            <translation>состоянию нужны "text", "type" или "description"</translation>
        </message>
        <message>
            <source>the "text" of a state must be a text, an object or a list</source>
            <translation>"text" состояния должен быть текстом, объектом или списком</translation>
        </message>
        <message>
            <source>the "type" of a state</source>
            <translation>"type" состояния</translation>
        </message>
        <message>
            <source>the "description" of a state</source>
            <translation>"description" состояния</translation>
        </message>
        <message>
            <source>"settings" must be a list of objects with "group", "key" and "value"</source>
            <translation>"settings" должен быть списком объектов с "group", "key" и "value"</translation>
        </message>
        <message>
            <source>the setting %1 is there twice</source>
            <translation>настройка %1 указана дважды</translation>
        </message>
        <message>
            <source>a setting</source>
            <translation>настройка</translation>
        </message>
        <message>
            <source>a setting needs a "key", a text that is not empty, and a "value"</source>
            <translation>настройке нужны "key", непустой текст, и "value"</translation>
        </message>
        <message>
            <source>the "group" of a setting</source>
            <translation>"group" настройки</translation>
        </message>
        <message>
            <source>the name of a command must not be empty</source>
            <translation>имя команды не должно быть пустым</translation>
        </message>
        <message>
            <source>"commandError" is never answered, because two services could then answer each other's errors without an end</source>
            <translation>на "commandError" никогда не отвечают, иначе две службы могли бы без конца отвечать на ошибки друг друга</translation>
        </message>
        <message>
            <source>a command needs at least one answer</source>
            <translation>команде нужен хотя бы один ответ</translation>
        </message>
        <message>
            <source>this answer can never be chosen, because one before it has no "when"</source>
            <translation>этот ответ никогда не будет выбран, потому что у ответа перед ним нет "when"</translation>
        </message>
        <message>
            <source>a command with a "sequence"</source>
            <translation>команда с "sequence"</translation>
        </message>
        <message>
            <source>a "sequence" must be a list of answers that is not empty</source>
            <translation>"sequence" должен быть непустым списком ответов</translation>
        </message>
        <message>
            <source>"then" must be "repeat-last", "cycle" or "error"</source>
            <translation>"then" должен быть "repeat-last", "cycle" или "error"</translation>
        </message>
        <message>
            <source>"when" must be an object with keys of the command's data, and their values</source>
            <translation>"when" должен быть объектом с ключами данных команды и их значениями</translation>
        </message>
        <message>
            <source>an answer</source>
            <translation>ответ</translation>
        </message>
        <message>
            <source>"delay", in ms,</source>
            <translation>"delay", в мс,</translation>
        </message>
        <message>
            <source>an answer needs one of "reply", "error" and "silence"</source>
            <translation>ответу нужно одно из "reply", "error" и "silence"</translation>
        </message>
        <message>
            <source>a "reply"</source>
            <translation>"reply"</translation>
        </message>
        <message>
            <source>the "name" of a reply</source>
            <translation>"name" ответа</translation>
        </message>
        <message>
            <source>the "data" of a reply</source>
            <translation>"data" ответа</translation>
        </message>
        <message>
            <source>"silence" must be true</source>
            <translation>"silence" должен быть true</translation>
        </message>
        <message>
            <source>a command to "send"</source>
            <translation>команда в "send"</translation>
        </message>
        <message>
            <source>a command to "send" needs "to" and "name"</source>
            <translation>команде в "send" нужны "to" и "name"</translation>
        </message>
        <message>
            <source>the "to" of a command to send</source>
            <translation>"to" отправляемой команды</translation>
        </message>
        <message>
            <source>the "name" of a command to send</source>
            <translation>"name" отправляемой команды</translation>
        </message>
        <message>
            <source>the "data" of a command to send</source>
            <translation>"data" отправляемой команды</translation>
        </message>
        <message>
            <source>cannot be read: %1</source>
            <translation>невозможно прочитать: %1</translation>
        </message>
        <message>
            <source>is larger than 16 MiB</source>
            <translation>больше 16 MiB</translation>
        </message>
        <message>
            <source>this is no JSON: %1</source>
            <translation>это не JSON: %1</translation>
        </message>
        <message>
            <source>%1 is too large to travel exactly as a number</source>
            <translation>%1 слишком велико, чтобы точно передать его как число</translation>
        </message>
        <message>
            <source>this is no UTF-8</source>
            <translation>это не UTF-8</translation>
        </message>
        <message>
            <source>this is no JSON that can be read: it is nested too deeply</source>
            <translation>это не читаемый JSON: слишком глубокая вложенность</translation>
        </message>
        <message>
            <source>a placeholder has no "}"; write "$${" for a "${" that is none</source>
            <translation>у подстановки нет "}"; для "${" без подстановки пишите "$${"</translation>
        </message>
        <message>
            <source>there is no placeholder "${%1}"</source>
            <translation>нет подстановки "${%1}"</translation>
        </message>
        <message>
            <source>the connection for receiving cannot be made</source>
            <translation>не удаётся установить соединение для приёма</translation>
        </message>
        <message>
            <source>the bus refuses the connection for receiving</source>
            <translation>шина отклоняет соединение для приёма</translation>
        </message>
        <message>
            <source>the bus does not answer on the connection for receiving</source>
            <translation>шина не отвечает на соединении для приёма</translation>
        </message>
        <message>
            <source>the bus has closed the connection</source>
            <translation>шина закрыла соединение</translation>
        </message>
        <message>
            <source>the bus refuses to save the settings: %1</source>
            <translation>шина отказывается сохранить настройки: %1</translation>
        </message>
        <message>
            <source>the bus refuses to load the settings: %1</source>
            <translation>шина отказывается загрузить настройки: %1</translation>
        </message>
        <message>
            <source>the bus refuses to save the state: %1</source>
            <translation>шина отказывается сохранить состояние: %1</translation>
        </message>
        <message>
            <source>the bus is away for too long, and the oldest answer was dropped</source>
            <translation>шины нет слишком долго, самый старый ответ отброшен</translation>
        </message>
        <message>
            <source>the bus refuses to take an answer: %1</source>
            <translation>шина отказывается принять ответ: %1</translation>
        </message>
        <message>
            <source>; there are: %1</source>
            <translation>; есть: %1</translation>
        </message>
        <message>
            <source>port %1 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again</source>
            <translation>порт %1 на 127.0.0.1 занят: там работает другая шина? Остановите её и попробуйте снова</translation>
        </message>
        <message>
            <source>cannot listen on 127.0.0.1 port %1: %2</source>
            <translation>невозможно слушать 127.0.0.1, порт %1: %2</translation>
        </message>
        <message>
            <source>cannot use the storage "%1": %2</source>
            <translation>невозможно использовать хранилище "%1": %2</translation>
        </message>
        <message>
            <source>the storage fails: %1 (told once a minute)</source>
            <translation>сбой хранилища: %1 (сообщается раз в минуту)</translation>
        </message>
        <message>
            <source>refused a connection: there are %1 already</source>
            <translation>соединение отклонено: их уже %1</translation>
        </message>
        <message>
            <source>Store in &lt;file&gt;; it is created when it does not exist, its folder is not.</source>
            <translation>Хранить в &lt;file&gt;; файл создаётся, если его нет, папка — нет.</translation>
        </message>
        <message>
            <source>Store in memory: everything is gone when the program ends.</source>
            <translation>Хранить в памяти: после завершения программы всё пропадает.</translation>
        </message>
        <message>
            <source>Keep the last frames for those who watch the bus, up to &lt;MiB&gt; of them. Default: 16</source>
            <translation>Хранить последние кадры для наблюдателей шины, до &lt;MiB&gt;. По умолчанию: 16</translation>
        </message>
        <message>
            <source>Keep at most &lt;number&gt; messages for each absent client; the oldest go first. Default: 1000</source>
            <translation>Хранить не более &lt;number&gt; сообщений для каждого отсутствующего клиента; первыми уходят старые. По умолчанию: 1000</translation>
        </message>
        <message>
            <source>Bring about a fault on purpose; may be repeated. See below.</source>
            <translation>Намеренно вызвать сбой; можно повторять. См. ниже.</translation>
        </message>
        <message>
            <source>Show every frame, decoded, on stderr.</source>
            <translation>Показывать каждый кадр в разобранном виде на stderr.</translation>
        </message>
        <message>
            <source>Show the traffic on a page at &lt;port&gt; of 127.0.0.1; 0 lets the system choose the port.</source>
            <translation>Показывать обмен на странице на порту &lt;port&gt; адреса 127.0.0.1; при 0 порт выбирает система.</translation>
        </message>
        <message>
            <source>Show this text and exit.</source>
            <translation>Показать этот текст и выйти.</translation>
        </message>
        <message>
            <source>Show the version and exit.</source>
            <translation>Показать версию и выйти.</translation>
        </message>
        <message>
            <source>The development bus server: a Tarvex bus for desks and tests, on 127.0.0.1
ports 45535 and 45537. Not for devices.</source>
            <translation>Шина разработки: шина Tarvex для рабочего места и тестов на 127.0.0.1,
порты 45535 и 45537. Не для устройств.</translation>
        </message>
        <message>
            <source>%1; see --help</source>
            <translation>%1; см. --help</translation>
        </message>
        <message>
            <source>--fault is given more than %1 times</source>
            <translation>--fault указан больше чем %1 раз</translation>
        </message>
        <message>
            <source>--fault "%1": %2</source>
            <translation>--fault "%1": %2</translation>
        </message>
        <message>
            <source>unexpected argument "%1"</source>
            <translation>неожиданный аргумент "%1"</translation>
        </message>
        <message>
            <source>--storage and --memory exclude each other</source>
            <translation>--storage и --memory исключают друг друга</translation>
        </message>
        <message>
            <source>--storage needs the name of a file</source>
            <translation>--storage требует имя файла</translation>
        </message>
        <message>
            <source>--keep must be a whole number from 0 to %1, not "%2"</source>
            <translation>--keep должен быть целым числом от 0 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>--frames must be a whole number from 1 to %1, not "%2"</source>
            <translation>--frames должен быть целым числом от 1 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>--http must be a port from 0 to 65535, not "%1"</source>
            <translation>--http должен быть портом от 0 до 65535, а не "%1"</translation>
        </message>
        <message>
            <source>unknown option "-%1"</source>
            <translation>неизвестный параметр "-%1"</translation>
        </message>
        <message>
            <source>unknown option "--%1"</source>
            <translation>неизвестный параметр "--%1"</translation>
        </message>
        <message>
            <source>--%1 is given more than once</source>
            <translation>--%1 указан больше одного раза</translation>
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
            <translation>Вызов: tarvex-devbus [параметры]
%1

Без --storage и --memory данные хранятся в
%2

Правило сбоя — это слова через пробел, среди них "do=EFFECT",
например "client=printer operation=loadState nth=3 do=delay:500".
Слова:
%3
Эффекты:
%4

Код завершения:
  0  завершена по SIGTERM или SIGINT; после --help и --version
  1  не удалось запуститься или писать в stdout
  2  неверный вызов</translation>
        </message>
        <message>
            <source>an argument is no text</source>
            <translation>аргумент не является текстом</translation>
        </message>
        <message>
            <source>dropped the oldest %1 of more than %2 messages that wait for "%3"</source>
            <translation>отброшены самые старые сообщения: %1 из более чем %2, которые ждут "%3"</translation>
        </message>
        <message>
            <source>cannot write to stdout: %1</source>
            <translation>невозможно писать в stdout: %1</translation>
        </message>
        <message>
            <source>cannot create the folder "%1"</source>
            <translation>невозможно создать папку "%1"</translation>
        </message>
        <message>
            <source>fault %1: %2</source>
            <translation>сбой %1: %2</translation>
        </message>
        <message>
            <source>cannot open the control socket: %1</source>
            <translation>невозможно открыть управляющий сокет: %1</translation>
        </message>
        <message>
            <source>cannot watch for SIGTERM and SIGINT: %1</source>
            <translation>невозможно следить за SIGTERM и SIGINT: %1</translation>
        </message>
        <message>
            <source>a second receiver connection took the name "%1", and the first one was closed; does this service run twice?</source>
            <translation>второе соединение для приёма заняло имя "%1", первое закрыто; эта служба запущена дважды?</translation>
        </message>
        <message numerus="yes">
            <source>a second receiver connection took the name "%1", and the first one was closed (%n times since the last warning); does this service run twice?</source>
            <translation>
                <numerusform>второе соединение для приёма заняло имя "%1", первое закрыто (%n раз с прошлого предупреждения); эта служба запущена дважды?</numerusform>
                <numerusform>второе соединение для приёма заняло имя "%1", первое закрыто (%n раза с прошлого предупреждения); эта служба запущена дважды?</numerusform>
                <numerusform>второе соединение для приёма заняло имя "%1", первое закрыто (%n раз с прошлого предупреждения); эта служба запущена дважды?</numerusform>
            </translation>
        </message>
        <message>
            <source>an argument is no UTF-8 text: %1</source>
            <translation>аргумент не является текстом UTF-8: %1</translation>
        </message>
        <message>
            <source>a reply that is damaged, or not to what was asked</source>
            <translation>ответ повреждён или не на то, что спрошено</translation>
        </message>
        <message>
            <source>nothing but blanks</source>
            <translation>только пробелы</translation>
        </message>
        <message>
            <source>refused by the bus: %1</source>
            <translation>шина отказала: %1</translation>
        </message>
        <message>
            <source>request %1</source>
            <translation>запрос %1</translation>
        </message>
        <message>
            <source>request %1 %2</source>
            <translation>запрос %1 %2</translation>
        </message>
        <message>
            <source>acknowledgement of %1</source>
            <translation>подтверждение %1</translation>
        </message>
        <message>
            <source>cannot play the bus on port %1: %2; end the bus that is there first</source>
            <translation>невозможно играть шину на порту %1: %2; сначала остановите шину, которая там есть</translation>
        </message>
        <message>
            <source>bad frame</source>
            <translation>повреждённый кадр</translation>
        </message>
        <message>
            <source>"%1" is not played; its handshake is refused</source>
            <translation>"%1" не воспроизводится; его рукопожатие отклонено</translation>
        </message>
        <message>
            <source>something is there, but does not answer</source>
            <translation>что-то есть, но не отвечает</translation>
        </message>
        <message>
            <source>no bus has answered within %1: %2</source>
            <translation>за %1 не ответила ни одна шина: %2</translation>
        </message>
        <message>
            <source>cannot start %1: %2</source>
            <translation>невозможно запустить %1: %2</translation>
        </message>
        <message>
            <source>%1 is not installed: it is neither beside this program nor on the PATH</source>
            <translation>%1 не установлена: её нет ни рядом с этой программой, ни в PATH</translation>
        </message>
        <message>
            <source>no pipe to %1: %2</source>
            <translation>нет канала к %1: %2</translation>
        </message>
        <message>
            <source>%1 has crashed</source>
            <translation>%1 аварийно завершилась</translation>
        </message>
        <message>
            <source>cannot read what %1 has captured: %2</source>
            <translation>невозможно прочитать захваченное программой %1: %2</translation>
        </message>
        <message>
            <source>there is no client "%1" so far%2</source>
            <translation>клиента "%1" пока нет%2</translation>
        </message>
        <message>
            <source>reply to %1</source>
            <translation>ответ на %1</translation>
        </message>
        <message>
            <source>pushed message</source>
            <translation>доставленное сообщение</translation>
        </message>
        <message>
            <source>push of %1</source>
            <translation>доставка %1</translation>
        </message>
        <message>
            <source>request %1, which was not sent</source>
            <translation>запрос %1, который не был отправлен</translation>
        </message>
        <message>
            <source>nobody has accepted the connection in time</source>
            <translation>никто не принял соединение вовремя</translation>
        </message>
        <message>
            <source>next: %1</source>
            <translation>далее: %1</translation>
        </message>
        <message>
            <source>the bus has not replied to #%1, %2 of %3, in time</source>
            <translation>шина не ответила вовремя на #%1, %2 от %3</translation>
        </message>
        <message>
            <source>no bus to be reached on 127.0.0.1: %1</source>
            <translation>шина на 127.0.0.1 недоступна: %1</translation>
        </message>
        <message>
            <source>end of the %1 connection</source>
            <translation>конец соединения (%1)</translation>
        </message>
        <message>
            <source>a connection of %1 to the bus was lost: %2</source>
            <translation>соединение %1 с шиной потеряно: %2</translation>
        </message>
        <message>
            <source>Talks to the local Tarvex bus: settings, states and messages of its clients.</source>
            <translation>Общается с локальной шиной Tarvex: настройки, состояния и сообщения её клиентов.</translation>
        </message>
        <message>
            <source>--as, --json, --quiet and --wait-for-bus may stand before the verb or after it; what follows -- is never an option. Times are local, as the clients wrote them.</source>
            <translation>--as, --json, --quiet и --wait-for-bus можно указать до действия или после него; то, что стоит после --, никогда не параметр. Время местное, как его записали клиенты.</translation>
        </message>
        <message>
            <source>Without --as the name is "tarvexctl-" and the process id. With --as and the name of a service, that service loses its connection and its messages to this program.</source>
            <translation>Без --as имя — "tarvexctl-" и номер процесса. С --as и именем службы эта служба теряет своё соединение и свои сообщения, их получает эта программа.</translation>
        </message>
        <message>
            <source>tarvexctl %1, built %2
</source>
            <translation>tarvexctl %1, сборка %2
</translation>
        </message>
        <message>
            <source>%1 is given more than once</source>
            <translation>%1 указан больше одного раза</translation>
        </message>
        <message>
            <source>Shows this text</source>
            <translation>Показывает этот текст</translation>
        </message>
        <message>
            <source>The name to introduce oneself with</source>
            <translation>Имя, под которым программа представляется</translation>
        </message>
        <message>
            <source>Writes one JSON object a line</source>
            <translation>Пишет по одному объекту JSON в строке</translation>
        </message>
        <message>
            <source>Says nothing on stderr except what failed</source>
            <translation>Сообщает на stderr только о неудачах</translation>
        </message>
        <message>
            <source>Colours: auto (on a terminal, unless NO_COLOR is set), always or never</source>
            <translation>Цвета: auto (на терминале, если не задан NO_COLOR), always или never</translation>
        </message>
        <message>
            <source>Shows the version and when it was built</source>
            <translation>Показывает версию и время сборки</translation>
        </message>
        <message>
            <source>%1 stands after "%2 %3"</source>
            <translation>%1 стоит после "%2 %3"</translation>
        </message>
        <message>
            <source>--color must be auto, always or never, not "%1"</source>
            <translation>--color должен быть auto, always или never, а не "%1"</translation>
        </message>
        <message>
            <source>First waits up to so many seconds until a bus answers</source>
            <translation>Сначала ждёт столько секунд, пока не ответит шина</translation>
        </message>
        <message>
            <source>the bus refused the handshake of "%1"</source>
            <translation>шина отклонила рукопожатие "%1"</translation>
        </message>
        <message>
            <source>the bus closed the connection during the handshake</source>
            <translation>шина закрыла соединение во время рукопожатия</translation>
        </message>
        <message>
            <source>the bus closed the connection</source>
            <translation>шина закрыла соединение</translation>
        </message>
        <message>
            <source>the bus is there, but nothing came within 30 s</source>
            <translation>шина есть, но за 30 с ничего не пришло</translation>
        </message>
        <message>
            <source>what answered is no reply of the bus: %1</source>
            <translation>ответившее не является ответом шины: %1</translation>
        </message>
        <message>
            <source>what answered is no reply of the bus</source>
            <translation>ответившее не является ответом шины</translation>
        </message>
        <message>
            <source>this bus cannot tell who is there: only a development bus of the same user can</source>
            <translation>эта шина не может сообщить, кто есть: это может только шина разработки того же пользователя</translation>
        </message>
        <message>
            <source>nobody has ever been "%1" on this bus, as far as it knows; it treats the message like one for any absent client%2</source>
            <translation>насколько известно шине, "%1" на ней никогда не было; она обрабатывает сообщение как для любого отсутствующего клиента%2</translation>
        </message>
        <message>
            <source>this bus does not show its frames: only a development bus of the same user does; --capture reads those of any bus from the network</source>
            <translation>эта шина не показывает свои кадры: это делает только шина разработки того же пользователя; --capture читает кадры любой шины из сети</translation>
        </message>
        <message>
            <source>the bus is there, but its control socket does not answer</source>
            <translation>шина есть, но её управляющий сокет не отвечает</translation>
        </message>
        <message>
            <source>the bus is back</source>
            <translation>шина снова есть</translation>
        </message>
        <message>
            <source>the bus has gone; waiting for it to come back</source>
            <translation>шина пропала; ожидание её возвращения</translation>
        </message>
        <message>
            <source>%1 ms</source>
            <translation>%1 мс</translation>
        </message>
        <message>
            <source>See what the process that holds the port waits for (strace -p, gdb -p), and start it again if it hangs.</source>
            <translation>Посмотрите, чего ждёт процесс, который держит порт (strace -p, gdb -p), и перезапустите его, если он завис.</translation>
        </message>
        <message>
            <source>Read what the bus has written to its stderr, and see storage below.</source>
            <translation>Прочитайте, что шина написала на stderr, и посмотрите ниже о хранилище.</translation>
        </message>
        <message>
            <source>See whether the bus has ended, and run doctor again.</source>
            <translation>Проверьте, не завершилась ли шина, и запустите doctor снова.</translation>
        </message>
        <message>
            <source>something listens on the %1 port and does not answer the handshake within %2</source>
            <translation>что-то слушает порт %1 и не отвечает на рукопожатие за %2</translation>
        </message>
        <message>
            <source>on the %1 port: %2</source>
            <translation>на порту %1: %2</translation>
        </message>
        <message>
            <source>See what the process that holds the port is, because this is not how a bus answers a handshake.</source>
            <translation>Посмотрите, что за процесс держит порт: шина так на рукопожатие не отвечает.</translation>
        </message>
        <message>
            <source>the bus accepts the handshake on the %1 port</source>
            <translation>шина принимает рукопожатие на порту %1</translation>
        </message>
        <message>
            <source>after the handshake: %1</source>
            <translation>после рукопожатия: %1</translation>
        </message>
        <message>
            <source>the bus accepts the handshake, and has not answered all that was asked after it within %1</source>
            <translation>шина принимает рукопожатие, но за %1 ответила не на все вопросы после него</translation>
        </message>
        <message>
            <source>the file of the program, or of the library, was replaced since the start of %1</source>
            <translation>файл программы или библиотеки заменён после запуска: %1</translation>
        </message>
        <message>
            <source>Start them again, so that they run what is installed.</source>
            <translation>Перезапустите их, чтобы они выполняли то, что установлено.</translation>
        </message>
        <message>
            <source>1 exchange: half of them took %1 or less, the longest %2</source>
            <translation>1 обмен: половина длилась не больше %1, самый долгий %2</translation>
        </message>
        <message numerus="yes">
            <source>%n exchanges: half of them took %1 or less, the longest %2</source>
            <translation>
                <numerusform>%n обмен: половина длилась не больше %1, самый долгий %2</numerusform>
                <numerusform>%n обмена: половина длилась не больше %1, самый долгий %2</numerusform>
                <numerusform>%n обменов: половина длилась не больше %1, самый долгий %2</numerusform>
            </translation>
        </message>
        <message>
            <source>See whether the machine, the bus or its storage is busy (top, iostat), because a bus that is not busy answers within a few milliseconds.</source>
            <translation>Проверьте, не загружены ли машина, шина или хранилище (top, iostat): незагруженная шина отвечает за несколько миллисекунд.</translation>
        </message>
        <message>
            <source>Run doctor again to see whether single exchanges stay slow: then something holds the bus up from time to time.</source>
            <translation>Запустите doctor снова, чтобы увидеть, остаются ли отдельные обмены медленными: тогда что-то время от времени задерживает шину.</translation>
        </message>
        <message>
            <source>this bus has no control socket for this user: its version, who is missing, names taken twice, its storage and its start could not be looked at, and settings and states only of the names that the library knows</source>
            <translation>у этой шины нет управляющего сокета для этого пользователя: не удалось посмотреть её версию, кто отсутствует, дважды занятые имена, хранилище и запуск, а настройки и состояния — только для имён, известных библиотеке</translation>
        </message>
        <message>
            <source>On a desk, run doctor as the user who has started tarvex-devbus; another bus has no such socket.</source>
            <translation>На рабочем месте запускайте doctor от пользователя, который запустил tarvex-devbus; у другой шины такого сокета нет.</translation>
        </message>
        <message>
            <source>the control socket of the bus: %1</source>
            <translation>управляющий сокет шины: %1</translation>
        </message>
        <message>
            <source>See whether the bus hangs, or is older than this program.</source>
            <translation>Проверьте, не зависла ли шина и не старше ли она этой программы.</translation>
        </message>
        <message>
            <source>1 fault on purpose is set</source>
            <translation>задан 1 намеренный сбой</translation>
        </message>
        <message numerus="yes">
            <source>%n faults on purpose are set</source>
            <translation>
                <numerusform>задан %n намеренный сбой</numerusform>
                <numerusform>задано %n намеренных сбоя</numerusform>
                <numerusform>задано %n намеренных сбоев</numerusform>
            </translation>
        </message>
        <message>
            <source>See with tarvexctl fault list whether they explain what else is told here, and remove them with tarvexctl fault clear.</source>
            <translation>Посмотрите в tarvexctl fault list, объясняют ли они остальное, что здесь сказано, и удалите их командой tarvexctl fault clear.</translation>
        </message>
        <message>
            <source>tarvexctl has the library %1, the bus is of version %2</source>
            <translation>у tarvexctl библиотека %1, у шины версия %2</translation>
        </message>
        <message>
            <source>Install both from the same version, and start the bus again.</source>
            <translation>Установите обе одной версии и перезапустите шину.</translation>
        </message>
        <message>
            <source>tarvexctl and the bus are of version %1</source>
            <translation>tarvexctl и шина версии %1</translation>
        </message>
        <message>
            <source>1 message waits</source>
            <translation>1 сообщение ждёт</translation>
        </message>
        <message numerus="yes">
            <source>%n messages wait</source>
            <translation>
                <numerusform>%n сообщение ждёт</numerusform>
                <numerusform>%n сообщения ждут</numerusform>
                <numerusform>%n сообщений ждут</numerusform>
            </translation>
        </message>
        <message>
            <source>"%1" has never been there, and %2 for it</source>
            <translation>"%1" никогда не было, и %2 его</translation>
        </message>
        <message>
            <source>"%1" has no receiving connection, and %2 for it</source>
            <translation>у "%1" нет соединения для приёма, и %2 его</translation>
        </message>
        <message>
            <source>Look for this name in the services that send, because it may be mistyped; otherwise start that service.</source>
            <translation>Поищите это имя в службах, которые отправляют: в нём может быть опечатка; иначе запустите эту службу.</translation>
        </message>
        <message>
            <source>Start that service, or find out why it does not receive.</source>
            <translation>Запустите эту службу или выясните, почему она не принимает.</translation>
        </message>
        <message>
            <source>Nobody has ever been %1, so %1 may be mistyped.</source>
            <translation>Имени %1 никогда ни у кого не было, в %1 может быть опечатка.</translation>
        </message>
        <message>
            <source>Nobody has ever been %1 and 1 other, so %1 may be mistyped.</source>
            <translation>Имени %1 и ещё 1 другого никогда ни у кого не было, в %1 может быть опечатка.</translation>
        </message>
        <message numerus="yes">
            <source>Nobody has ever been %1 and %n others, so %1 may be mistyped.</source>
            <translation>
                <numerusform>Имени %1 и ещё %n другого никогда ни у кого не было, в %1 может быть опечатка.</numerusform>
                <numerusform>Имени %1 и ещё %n других никогда ни у кого не было, в %1 может быть опечатка.</numerusform>
                <numerusform>Имени %1 и ещё %n других никогда ни у кого не было, в %1 может быть опечатка.</numerusform>
            </translation>
        </message>
        <message>
            <source>Start these services, or find out why they do not receive.</source>
            <translation>Запустите эти службы или выясните, почему они не принимают.</translation>
        </message>
        <message>
            <source>%1 for %2 clients that do not receive: %3 and %4 more</source>
            <translation>%1 клиентов, которые не принимают (их %2): %3 и ещё %4</translation>
        </message>
        <message>
            <source>nobody receives the log, and %1 for "%2"</source>
            <translation>никто не принимает журнал, и %1 "%2"</translation>
        </message>
        <message>
            <source>Start the log service, or show the log with tarvexctl log --stand-in.</source>
            <translation>Запустите службу журнала или показывайте журнал командой tarvexctl log --stand-in.</translation>
        </message>
        <message>
            <source>%1 for tarvexctl itself, which has ended</source>
            <translation>%1 сам tarvexctl, который завершился</translation>
        </message>
        <message>
            <source>Leave them, because they are answers to what was sent; or take them with tarvexctl --as %1 listen --timeout 1.</source>
            <translation>Оставьте их: это ответы на отправленное; или заберите их командой tarvexctl --as %1 listen --timeout 1.</translation>
        </message>
        <message numerus="yes">
            <source>"%1" is there, and %n messages wait for it</source>
            <translation>
                <numerusform>"%1" есть, и его ждёт %n сообщение</numerusform>
                <numerusform>"%1" есть, и его ждут %n сообщения</numerusform>
                <numerusform>"%1" есть, и его ждут %n сообщений</numerusform>
            </translation>
        </message>
        <message>
            <source>See whether that service hangs, or is slower than what is sent to it.</source>
            <translation>Проверьте, не зависла ли эта служба и успевает ли она за тем, что ей отправляют.</translation>
        </message>
        <message>
            <source>"%1" has no receiving connection and is still subscribed</source>
            <translation>у "%1" нет соединения для приёма, но подписка остаётся</translation>
        </message>
        <message>
            <source>Start that service, or let it unsubscribe, because the bus keeps for it what is published.</source>
            <translation>Запустите эту службу или пусть она отпишется: шина хранит для неё то, что публикуется.</translation>
        </message>
        <message>
            <source>the same command line runs in several connected processes: %1 (%2)</source>
            <translation>одна и та же командная строка у нескольких соединённых процессов: %1 (%2)</translation>
        </message>
        <message>
            <source>Check that they do not have the same name on the bus, and end all but one if they do.</source>
            <translation>Проверьте, что у них разные имена на шине, а если нет — завершите все, кроме одного.</translation>
        </message>
        <message>
            <source>two processes fight for the name "%1": it was taken again while doctor looked</source>
            <translation>два процесса борются за имя "%1": его снова заняли, пока doctor смотрел</translation>
        </message>
        <message>
            <source>End one of the two processes, because each gets only a part of the messages.</source>
            <translation>Завершите один из двух процессов: каждый получает только часть сообщений.</translation>
        </message>
        <message>
            <source>the name "%1" was taken from a connected process 1 time since the bus was started, but not within the last %2 s</source>
            <translation>имя "%1" было отнято у соединённого процесса 1 раз с запуска шины, но не за последние %2 с</translation>
        </message>
        <message numerus="yes">
            <source>the name "%1" was taken from a connected process %n times since the bus was started, but not within the last %2 s</source>
            <translation>
                <numerusform>имя "%1" было отнято у соединённого процесса %n раз с запуска шины, но не за последние %2 с</numerusform>
                <numerusform>имя "%1" было отнято у соединённого процесса %n раза с запуска шины, но не за последние %2 с</numerusform>
                <numerusform>имя "%1" было отнято у соединённого процесса %n раз с запуска шины, но не за последние %2 с</numerusform>
            </translation>
        </message>
        <message>
            <source>Check that this service runs once, and that nobody uses its name with --as.</source>
            <translation>Проверьте, что эта служба запущена один раз и никто не использует её имя с --as.</translation>
        </message>
        <message>
            <source>1 client connected, and nothing waits for an absent one</source>
            <translation>соединён 1 клиент, ничто не ждёт отсутствующего</translation>
        </message>
        <message numerus="yes">
            <source>%n clients connected, and nothing waits for an absent one</source>
            <translation>
                <numerusform>соединён %n клиент, ничто не ждёт отсутствующего</numerusform>
                <numerusform>соединено %n клиента, ничто не ждёт отсутствующего</numerusform>
                <numerusform>соединено %n клиентов, ничто не ждёт отсутствующего</numerusform>
            </translation>
        </message>
        <message>
            <source>the bus did not tell for %1 s whether a name was taken again</source>
            <translation>шина %1 с не сообщала, занято ли какое-то имя снова</translation>
        </message>
        <message>
            <source>See what is wrong above, and run doctor again.</source>
            <translation>Посмотрите, что неверно выше, и запустите doctor снова.</translation>
        </message>
        <message>
            <source>no name was taken from a connected process</source>
            <translation>ни одно имя не отнято у соединённого процесса</translation>
        </message>
        <message>
            <source>it did not answer in time</source>
            <translation>он не ответил вовремя</translation>
        </message>
        <message>
            <source>the storage fails: %1</source>
            <translation>сбой хранилища: %1</translation>
        </message>
        <message>
            <source>Read the reason that the bus has written to its stderr; after damage, start it with an undamaged file or with none.</source>
            <translation>Прочитайте причину, которую шина написала на stderr; при повреждении запустите её с неповреждённым файлом или без файла.</translation>
        </message>
        <message>
            <source>what is stored for "%1" cannot be loaded: %2</source>
            <translation>сохранённое для "%1" не загружается: %2</translation>
        </message>
        <message>
            <source>%1 takes %2, and %3 are free</source>
            <translation>%1 занимает %2, свободно %3</translation>
        </message>
        <message>
            <source>Make room there, because the bus refuses what it cannot store.</source>
            <translation>Освободите там место: шина отклоняет то, что не может сохранить.</translation>
        </message>
        <message>
            <source>Make room there before it is full.</source>
            <translation>Освободите там место, пока оно не кончилось.</translation>
        </message>
        <message>
            <source>See in tarvexctl clients for whom so many messages wait.</source>
            <translation>Посмотрите в tarvexctl clients, кого ждёт столько сообщений.</translation>
        </message>
        <message>
            <source>the storage %1 cannot be looked at by this user</source>
            <translation>этот пользователь не может посмотреть хранилище %1</translation>
        </message>
        <message>
            <source>Run doctor as the user who has started the bus.</source>
            <translation>Запустите doctor от пользователя, который запустил шину.</translation>
        </message>
        <message>
            <source>the storage %1 is gone while the bus runs</source>
            <translation>хранилище %1 исчезло во время работы шины</translation>
        </message>
        <message>
            <source>Start the bus again, with a saved copy of the file or with none, because it cannot go on without the file.</source>
            <translation>Перезапустите шину с сохранённой копией файла или без файла: без него она не может продолжать.</translation>
        </message>
        <message>
            <source>this user may not read and write %1</source>
            <translation>этому пользователю нельзя читать и писать %1</translation>
        </message>
        <message>
            <source>Check whose file it is, if the bus runs as this user.</source>
            <translation>Проверьте, чей это файл, если шина работает от этого пользователя.</translation>
        </message>
        <message>
            <source>since the bus was started the clock was set forward by %1 s</source>
            <translation>после запуска шины часы переведены вперёд на %1 с</translation>
        </message>
        <message>
            <source>since the bus was started the clock was set back by %1 s</source>
            <translation>после запуска шины часы переведены назад на %1 с</translation>
        </message>
        <message>
            <source>Do not compare the dates of records across that jump, and let the clock be set before the bus is started.</source>
            <translation>Не сравнивайте даты записей через этот скачок и ставьте часы до запуска шины.</translation>
        </message>
        <message>
            <source>the bus stores in memory</source>
            <translation>шина хранит данные в памяти</translation>
        </message>
        <message>
            <source>Start it without --memory if something is to be kept.</source>
            <translation>Запустите её без --memory, если что-то нужно сохранить.</translation>
        </message>
        <message>
            <source>the clock was set by %1 ms while doctor looked</source>
            <translation>часы переведены на %1 мс, пока doctor смотрел</translation>
        </message>
        <message>
            <source>Find out what sets the clock, because the dates of records jump with it.</source>
            <translation>Выясните, что переводит часы: даты записей скачут вместе с ними.</translation>
        </message>
        <message>
            <source>nothing keeps the clock of this machine right, as far as the kernel knows</source>
            <translation>насколько известно ядру, ничто не держит часы этой машины точными</translation>
        </message>
        <message>
            <source>Set up NTP (timedatectl shows it), if dates are compared with those of other machines.</source>
            <translation>Настройте NTP (его показывает timedatectl), если даты сравниваются с датами других машин.</translation>
        </message>
        <message>
            <source>the clock was not set while doctor looked</source>
            <translation>часы не переводились, пока doctor смотрел</translation>
        </message>
        <message>
            <source>the clock was not set since the bus was started</source>
            <translation>часы не переводились с запуска шины</translation>
        </message>
        <message>
            <source>the %1 port %2</source>
            <translation>порт %2 (%1)</translation>
        </message>
        <message>
            <source>%1 (process %2 of %3)</source>
            <translation>%1 (процесс %2 пользователя %3)</translation>
        </message>
        <message>
            <source>%1 and %2</source>
            <translation>%1 и %2</translation>
        </message>
        <message>
            <source>nobody listens on %1</source>
            <translation>никто не слушает %1</translation>
        </message>
        <message>
            <source>End what holds the other port and start the bus again, because a bus opens both.</source>
            <translation>Завершите то, что держит другой порт, и перезапустите шину: шина открывает оба.</translation>
        </message>
        <message>
            <source>a process of the user %1 listens on port %2; its number cannot be seen from here</source>
            <translation>процесс пользователя %1 слушает порт %2; его номер отсюда не виден</translation>
        </message>
        <message>
            <source>Run doctor as %1 to see which process it is.</source>
            <translation>Запустите doctor от %1, чтобы увидеть, какой это процесс.</translation>
        </message>
        <message>
            <source>Run doctor as %1 or root to see which process it is.</source>
            <translation>Запустите doctor от %1 или root, чтобы увидеть, какой это процесс.</translation>
        </message>
        <message>
            <source>%1 holds %2 only</source>
            <translation>%1 держит только %2</translation>
        </message>
        <message>
            <source>%1 hold %2 only</source>
            <translation>%1 держат только %2</translation>
        </message>
        <message>
            <source>See whether this is the bus at all, because a bus holds both ports.</source>
            <translation>Проверьте, шина ли это вообще: шина держит оба порта.</translation>
        </message>
        <message>
            <source>%1 holds %2</source>
            <translation>%1 держит %2</translation>
        </message>
        <message>
            <source>%1 hold %2</source>
            <translation>%1 держат %2</translation>
        </message>
        <message>
            <source>the ports belong to two programs: the query port to %1, the receiver port to %2</source>
            <translation>порты принадлежат двум программам: порт query — %1, порт receiver — %2</translation>
        </message>
        <message>
            <source>End the one that is not the bus, and start the bus again.</source>
            <translation>Завершите ту, которая не шина, и перезапустите шину.</translation>
        </message>
        <message>
            <source>several processes hold the ports: %1</source>
            <translation>порты держат несколько процессов: %1</translation>
        </message>
        <message>
            <source>Check that the others are children of the bus, because they keep the ports taken when it ends.</source>
            <translation>Проверьте, что остальные — потомки шины: они занимают порты, когда она завершается.</translation>
        </message>
        <message>
            <source>%1 holds the ports</source>
            <translation>%1 держит порты</translation>
        </message>
        <message>
            <source>port %1 takes connections from other machines as well</source>
            <translation>порт %1 принимает соединения и с других машин</translation>
        </message>
        <message>
            <source>Let the bus listen on 127.0.0.1 only, because it knows no access rights.</source>
            <translation>Пусть шина слушает только 127.0.0.1: прав доступа она не знает.</translation>
        </message>
        <message>
            <source>%1 is stopped, so it answers nobody</source>
            <translation>%1 остановлен и никому не отвечает</translation>
        </message>
        <message>
            <source>Let it go on with kill -CONT %1, or leave the debugger that holds it.</source>
            <translation>Продолжите его командой kill -CONT %1 или выйдите из отладчика, который его держит.</translation>
        </message>
        <message>
            <source>nobody listens on the bus's ports 45535 and 45537</source>
            <translation>никто не слушает порты шины 45535 и 45537</translation>
        </message>
        <message>
            <source>Start the bus: on a desk that is tarvex-devbus.</source>
            <translation>Запустите шину: на рабочем месте это tarvex-devbus.</translation>
        </message>
        <message>
            <source>%1 s</source>
            <translation>%1 с</translation>
        </message>
        <message>
            <source>%1 min</source>
            <translation>%1 мин</translation>
        </message>
        <message>
            <source>%1 h</source>
            <translation>%1 ч</translation>
        </message>
        <message numerus="yes">
            <source>%n days</source>
            <translation>
                <numerusform>%n день</numerusform>
                <numerusform>%n дня</numerusform>
                <numerusform>%n дней</numerusform>
            </translation>
        </message>
        <message>
            <source>an entry is no object</source>
            <translation>элемент не является объектом</translation>
        </message>
        <message>
            <source>an entry has no key</source>
            <translation>у элемента нет ключа</translation>
        </message>
        <message>
            <source>the group of "%1" is no text</source>
            <translation>группа "%1" не является текстом</translation>
        </message>
        <message>
            <source>%1 has no value</source>
            <translation>у %1 нет значения</translation>
        </message>
        <message>
            <source>%1 is there twice, and the last one counts</source>
            <translation>%1 указано дважды, действует последнее</translation>
        </message>
        <message>
            <source>the date cannot be read</source>
            <translation>дату невозможно прочитать</translation>
        </message>
        <message>
            <source>settings of "%1": %2 holds a number from 2^53 on, which has lost its last digits if it was an integer</source>
            <translation>настройки "%1": %2 содержит число от 2^53, которое потеряло последние цифры, если было целым</translation>
        </message>
        <message>
            <source>Compare it with what it should be, and store such a number as a text.</source>
            <translation>Сравните его с тем, каким оно должно быть, и храните такое число как текст.</translation>
        </message>
        <message>
            <source>Compare this machine's clock and the TZ of that service with the right time, because records hold local times.</source>
            <translation>Сравните часы этой машины и TZ той службы с верным временем: в записях местное время.</translation>
        </message>
        <message>
            <source>its type is no number from -128 to 127</source>
            <translation>его тип не является числом от -128 до 127</translation>
        </message>
        <message>
            <source>its state is no text</source>
            <translation>его состояние не является текстом</translation>
        </message>
        <message>
            <source>its date cannot be read</source>
            <translation>его дату невозможно прочитать</translation>
        </message>
        <message>
            <source>its state begins like JSON and is none</source>
            <translation>его состояние начинается как JSON, но это не JSON</translation>
        </message>
        <message>
            <source>the state of "%1" is %2 old, and the client is connected</source>
            <translation>состоянию "%1" %2, и клиент соединён</translation>
        </message>
        <message>
            <source>the state of "%1" is %2 old, and the client may be connected</source>
            <translation>состоянию "%1" %2, и клиент, возможно, соединён</translation>
        </message>
        <message>
            <source>See whether its query worker hangs, because a service reports its state again and again; --state-age says how old it may be.</source>
            <translation>Проверьте, не завис ли его поток запросов: служба сообщает состояние снова и снова; --state-age задаёт допустимый возраст.</translation>
        </message>
        <message>
            <source>the state of "%1" does not convert: %2</source>
            <translation>состояние "%1" не преобразуется: %2</translation>
        </message>
        <message>
            <source>Correct the service that has saved it, and let it report again.</source>
            <translation>Исправьте службу, которая его сохранила, и пусть она сообщит его снова.</translation>
        </message>
        <message>
            <source>the contents of the state of "%1" are dated %2 in the future</source>
            <translation>содержимое состояния "%1" датировано на %2 вперёд</translation>
        </message>
        <message>
            <source>the settings of "%1" do not convert: %2</source>
            <translation>настройки "%1" не преобразуются: %2</translation>
        </message>
        <message>
            <source>Write them to a file with --json settings get, correct it, and save it with settings load.</source>
            <translation>Запишите их в файл командой --json settings get, исправьте его и сохраните командой settings load.</translation>
        </message>
        <message>
            <source>the settings of "%1" are dated %2 in the future</source>
            <translation>настройки "%1" датированы на %2 вперёд</translation>
        </message>
        <message>
            <source>the time was too short for 1 more record</source>
            <translation>времени не хватило ещё на 1 запись</translation>
        </message>
        <message numerus="yes">
            <source>the time was too short for %n more records</source>
            <translation>
                <numerusform>времени не хватило ещё на %n запись</numerusform>
                <numerusform>времени не хватило ещё на %n записи</numerusform>
                <numerusform>времени не хватило ещё на %n записей</numerusform>
            </translation>
        </message>
        <message>
            <source>Give more time with --timeout.</source>
            <translation>Дайте больше времени с --timeout.</translation>
        </message>
        <message>
            <source>the settings of 1 owner convert</source>
            <translation>настройки 1 владельца преобразуются</translation>
        </message>
        <message numerus="yes">
            <source>the settings of %n owners convert</source>
            <translation>
                <numerusform>настройки %n владельца преобразуются</numerusform>
                <numerusform>настройки %n владельцев преобразуются</numerusform>
                <numerusform>настройки %n владельцев преобразуются</numerusform>
            </translation>
        </message>
        <message>
            <source>1 state, none of them damaged, too old or from the future</source>
            <translation>1 состояние, не повреждённое, не устаревшее и не из будущего</translation>
        </message>
        <message numerus="yes">
            <source>%n states, none of them damaged, too old or from the future</source>
            <translation>
                <numerusform>%n состояние, не повреждённое, не устаревшее и не из будущего</numerusform>
                <numerusform>%n состояния, ни одно не повреждено, не устарело и не из будущего</numerusform>
                <numerusform>%n состояний, ни одно не повреждено, не устарело и не из будущего</numerusform>
            </translation>
        </message>
        <message>
            <source>1 state of clients that are not connected: %1</source>
            <translation>1 состояние клиентов, которые не соединены: %1</translation>
        </message>
        <message numerus="yes">
            <source>%n states of clients that are not connected: %1</source>
            <translation>
                <numerusform>%n состояние клиентов, которые не соединены: %1</numerusform>
                <numerusform>%n состояния клиентов, которые не соединены: %1</numerusform>
                <numerusform>%n состояний клиентов, которые не соединены: %1</numerusform>
            </translation>
        </message>
        <message>
            <source>Do not take these states for the present ones.</source>
            <translation>Не принимайте эти состояния за нынешние.</translation>
        </message>
        <message>
            <source>interrupted</source>
            <translation>прервано</translation>
        </message>
        <message>
            <source>%1 stays subscribed: unsubscribing takes too long</source>
            <translation>%1 остаётся подписанным: отписка длится слишком долго</translation>
        </message>
        <message>
            <source>the bus is there, but did not answer within the time-out</source>
            <translation>шина есть, но не ответила за время ожидания</translation>
        </message>
        <message>
            <source>the bus is there, but has closed the connection that receives: another program took the name "%1", most likely; trying every second to get it back</source>
            <translation>шина есть, но закрыла соединение для приёма: скорее всего, другая программа заняла имя "%1"; попытка вернуть его каждую секунду</translation>
        </message>
        <message>
            <source>receiving as %1 again</source>
            <translation>снова приём как %1</translation>
        </message>
        <message>
            <source>%1 stays subscribed to %2: %3</source>
            <translation>%1 остаётся подписанным на %2: %3</translation>
        </message>
        <message>
            <source>%1: nobody has ever been "%2" on this bus, as far as it knows, and the library does not know the name; see "tarvexctl clients"</source>
            <translation>%1: насколько известно шине, "%2" на ней никогда не было, и библиотека этого имени не знает; см. "tarvexctl clients"</translation>
        </message>
        <message>
            <source>--operation: there is no operation "%1"; there are %2</source>
            <translation>--operation: нет операции "%1"; есть %2</translation>
        </message>
        <message>
            <source>1 value</source>
            <translation>1 значение</translation>
        </message>
        <message numerus="yes">
            <source>%n values</source>
            <translation>
                <numerusform>%n значение</numerusform>
                <numerusform>%n значения</numerusform>
                <numerusform>%n значений</numerusform>
            </translation>
        </message>
        <message>
            <source>(%1 bytes: too large or too deeply nested to be shown)</source>
            <translation>(%1 байт: слишком велико или слишком глубоко вложено, чтобы показать)</translation>
        </message>
        <message>
            <source> (answer to #%1 after %2)</source>
            <translation> (ответ на #%1 через %2)</translation>
        </message>
        <message>
            <source>connection %1 opened (%2)</source>
            <translation>соединение %1 открыто (%2)</translation>
        </message>
        <message>
            <source>connection %1 closed (%2)</source>
            <translation>соединение %1 закрыто (%2)</translation>
        </message>
        <message>
            <source>bad: %1 (connection %2, %3)</source>
            <translation>повреждено: %1 (соединение %2, %3)</translation>
        </message>
        <message>
            <source>gap: %1</source>
            <translation>пропуск: %1</translation>
        </message>
        <message>
            <source> [fault: %1]</source>
            <translation> [сбой: %1]</translation>
        </message>
        <message>
            <source>%1 error %2 %3: %4</source>
            <translation>%1 ошибка %2 %3: %4</translation>
        </message>
        <message>
            <source>the past is too large to be shown whole; its oldest frames are left out</source>
            <translation>прошлое слишком велико, чтобы показать его целиком; самые старые кадры опущены</translation>
        </message>
        <message>
            <source>nothing came</source>
            <translation>ничего не пришло</translation>
        </message>
        <message>
            <source>done</source>
            <translation>выполнено</translation>
        </message>
        <message>
            <source>refused by the bus or the other party, or stdout cannot be written</source>
            <translation>отказ шины или другой стороны, либо невозможно писать в stdout</translation>
        </message>
        <message>
            <source>wrong use; nothing was changed</source>
            <translation>неверный вызов; ничего не изменено</translation>
        </message>
        <message>
            <source>no bus to be reached, a refused handshake or a lost connection</source>
            <translation>шина недоступна, рукопожатие отклонено или соединение потеряно</translation>
        </message>
        <message>
            <source>nothing, or not enough, came within the time-out</source>
            <translation>за время ожидания не пришло ничего или пришло мало</translation>
        </message>
        <message>
            <source>Usage</source>
            <translation>Вызов</translation>
        </message>
        <message>
            <source>OPTION...</source>
            <translation>ПАРАМЕТР...</translation>
        </message>
        <message>
            <source>VERB</source>
            <translation>ДЕЙСТВИЕ</translation>
        </message>
        <message>
            <source>Arguments</source>
            <translation>Аргументы</translation>
        </message>
        <message>
            <source>REQUIRED</source>
            <translation>ОБЯЗАТЕЛЬНО</translation>
        </message>
        <message>
            <source>Options</source>
            <translation>Параметры</translation>
        </message>
        <message>
            <source>Verbs:</source>
            <translation>Действия:</translation>
        </message>
        <message>
            <source>Exit status:</source>
            <translation>Код завершения:</translation>
        </message>
        <message>
            <source>%1 is too large to be stored exactly as a number; --string stores it as a text</source>
            <translation>%1 слишком велико, чтобы точно сохранить его как число; --string сохраняет его как текст</translation>
        </message>
        <message>
            <source>%1 begins like JSON and is none: it is taken as a text, as with --string</source>
            <translation>%1 начинается как JSON, но это не JSON: принято как текст, как с --string</translation>
        </message>
        <message>
            <source>SENT</source>
            <translation>ОТПРАВЛЕНО</translation>
        </message>
        <message>
            <source>FROM</source>
            <translation>ОТ</translation>
        </message>
        <message>
            <source>TO</source>
            <translation>КОМУ</translation>
        </message>
        <message>
            <source>MESSAGE</source>
            <translation>СООБЩЕНИЕ</translation>
        </message>
        <message>
            <source>taken from the bus meanwhile, from %1, UID %2: %3</source>
            <translation>тем временем забрано с шины, от %1, UID %2: %3</translation>
        </message>
        <message>
            <source>%1, but %2</source>
            <translation>%1, но %2</translation>
        </message>
        <message>
            <source>this bus does not list what it stores; only the %1 names that the library knows are asked for</source>
            <translation>эта шина не перечисляет, что она хранит; запрашиваются только имена, известные библиотеке: %1</translation>
        </message>
        <message>
            <source>" or "</source>
            <translation>" или "</translation>
        </message>
        <message>
            <source>unknown option "%1"; an argument that begins with a minus stands after --</source>
            <translation>неизвестный параметр "%1"; аргумент, который начинается с минуса, ставится после --</translation>
        </message>
        <message>
            <source>unknown option "%1"; did you mean "%2"? An argument that begins with a minus stands after --</source>
            <translation>неизвестный параметр "%1"; возможно, имелось в виду "%2"? Аргумент, который начинается с минуса, ставится после --</translation>
        </message>
        <message>
            <source>unknown verb "%1"; there are %2</source>
            <translation>неизвестное действие "%1"; есть %2</translation>
        </message>
        <message>
            <source>unknown verb "%1"; did you mean "%2"? There are %3</source>
            <translation>неизвестное действие "%1"; возможно, имелось в виду "%2"? Есть %3</translation>
        </message>
        <message>
            <source>"%1" stands after --, where it is no verb</source>
            <translation>"%1" стоит после --, где это не действие</translation>
        </message>
        <message>
            <source>%1 is required</source>
            <translation>нужен %1</translation>
        </message>
        <message>
            <source>%1: 1 required %2 missing</source>
            <translation>%1: не хватает 1 значения %2</translation>
        </message>
        <message>
            <source>-%1 takes no value</source>
            <translation>-%1 не принимает значения</translation>
        </message>
        <message>
            <source>--%1 takes no value</source>
            <translation>--%1 не принимает значения</translation>
        </message>
        <message>
            <source>%1 needs a verb: %2</source>
            <translation>%1 требует действия: %2</translation>
        </message>
        <message>
            <source>%1 or %2</source>
            <translation>%1 или %2</translation>
        </message>
        <message>
            <source>cannot write %1: %2</source>
            <translation>невозможно записать %1: %2</translation>
        </message>
        <message>
            <source>cannot read %1: %2</source>
            <translation>невозможно прочитать %1: %2</translation>
        </message>
        <message>
            <source>something else than the answer to the handshake</source>
            <translation>не ответ на рукопожатие, а что-то другое</translation>
        </message>
        <message>
            <source>line %1: %2</source>
            <translation>строка %1: %2</translation>
        </message>
        <message>
            <source>this is no recording: its first line must be an object with "%1"</source>
            <translation>это не запись обмена: её первая строка должна быть объектом с "%1"</translation>
        </message>
        <message>
            <source>the recording has the version %1; this program reads version %2</source>
            <translation>версия записи обмена %1; эта программа читает версию %2</translation>
        </message>
        <message>
            <source>a frame whose "%1" is no whole number from %2 to %3: %4</source>
            <translation>кадр, у которого "%1" не целое число от %2 до %3: %4</translation>
        </message>
        <message>
            <source>a frame whose "%1" is no text</source>
            <translation>кадр, у которого "%1" не текст</translation>
        </message>
        <message>
            <source>this is no frame: "time", "kind" and "port" must be there, and "direction" for a request and a reply, with the words of the document</source>
            <translation>это не кадр: должны быть "time", "kind" и "port", а у запроса и ответа и "direction", со словами из документа</translation>
        </message>
        <message>
            <source>a request without "operation"</source>
            <translation>запрос без "operation"</translation>
        </message>
        <message>
            <source>a frame without "data", an object</source>
            <translation>кадр без "data", объекта</translation>
        </message>
        <message>
            <source>the line is longer than %1 bytes</source>
            <translation>строка длиннее %1 байт</translation>
        </message>
        <message>
            <source>no JSON object</source>
            <translation>не объект JSON</translation>
        </message>
        <message>
            <source>%1 is there already; --force replaces it</source>
            <translation>%1 уже есть; --force заменяет его</translation>
        </message>
        <message>
            <source>cannot write to %1: %2</source>
            <translation>невозможно писать в %1: %2</translation>
        </message>
        <message>
            <source>this is no JSON object: %1</source>
            <translation>это не объект JSON: %1</translation>
        </message>
        <message>
            <source>the recording is empty</source>
            <translation>запись обмена пуста</translation>
        </message>
        <message>
            <source>the input ended, so 1 step was not played</source>
            <translation>ввод кончился, поэтому 1 шаг не воспроизведён</translation>
        </message>
        <message numerus="yes">
            <source>the input ended, so %n steps were not played</source>
            <translation>
                <numerusform>ввод кончился, поэтому %n шаг не воспроизведён</numerusform>
                <numerusform>ввод кончился, поэтому %n шага не воспроизведены</numerusform>
                <numerusform>ввод кончился, поэтому %n шагов не воспроизведено</numerusform>
            </translation>
        </message>
        <message>
            <source>%1  %2  %3: %4 was recorded, %5 came</source>
            <translation>%1  %2  %3: записано %4, пришло %5</translation>
        </message>
        <message>
            <source>%1 to %2</source>
            <translation>%1 до %2</translation>
        </message>
        <message>
            <source>Exchanges</source>
            <translation>Обмены</translation>
        </message>
        <message>
            <source>Min</source>
            <translation>Минимум</translation>
        </message>
        <message>
            <source>Median</source>
            <translation>Медиана</translation>
        </message>
        <message>
            <source>Max</source>
            <translation>Максимум</translation>
        </message>
        <message>
            <source>1 change</source>
            <translation>1 изменение</translation>
        </message>
        <message numerus="yes">
            <source>%n changes</source>
            <translation>
                <numerusform>%n изменение</numerusform>
                <numerusform>%n изменения</numerusform>
                <numerusform>%n изменений</numerusform>
            </translation>
        </message>
        <message>
            <source>+ a first record
</source>
            <translation>+ первая запись
</translation>
        </message>
        <message>
            <source>- the whole record
</source>
            <translation>- вся запись
</translation>
        </message>
        <message>
            <source>the name %1 is there twice in one object</source>
            <translation>имя %1 дважды встречается в одном объекте</translation>
        </message>
        <message>
            <source>no JSON: %1 at column %2</source>
            <translation>не JSON: %1 в столбце %2</translation>
        </message>
        <message>
            <source>%1 is too large to be stored exactly as a number</source>
            <translation>%1 слишком велико, чтобы точно сохранить его как число</translation>
        </message>
        <message>
            <source>the "format" is not "%1"</source>
            <translation>"format" не "%1"</translation>
        </message>
        <message>
            <source>the "version" of the format is not %1, the one that is known here</source>
            <translation>"version" формата не %1, которая здесь известна</translation>
        </message>
        <message>
            <source>a document of settings</source>
            <translation>документ с настройками</translation>
        </message>
        <message>
            <source>"records" is needed, a list</source>
            <translation>нужен "records", список</translation>
        </message>
        <message>
            <source>%1 has a record in line %2 already</source>
            <translation>у %1 уже есть запись в строке %2</translation>
        </message>
        <message>
            <source>no JSON: it begins with a byte order mark; save the file as UTF-8 without one</source>
            <translation>не JSON: начинается с метки порядка байтов; сохраните файл как UTF-8 без неё</translation>
        </message>
        <message>
            <source>no JSON: not UTF-8</source>
            <translation>не JSON: не UTF-8</translation>
        </message>
        <message>
            <source>there is no settings record in %1</source>
            <translation>в %1 нет записи настроек</translation>
        </message>
        <message>
            <source>each of "settings" must be an object</source>
            <translation>каждый элемент "settings" должен быть объектом</translation>
        </message>
        <message>
            <source>the "group" of a setting must be a text</source>
            <translation>"group" настройки должен быть текстом</translation>
        </message>
        <message>
            <source>a setting needs a "key", a text that is not empty</source>
            <translation>настройке нужен "key", непустой текст</translation>
        </message>
        <message>
            <source>the setting %1 has no "value"</source>
            <translation>у настройки %1 нет "value"</translation>
        </message>
        <message>
            <source>"settings" is needed, a list</source>
            <translation>нужен "settings", список</translation>
        </message>
        <message>
            <source>a settings record must be a JSON object</source>
            <translation>запись настроек должна быть объектом JSON</translation>
        </message>
        <message>
            <source>a settings record</source>
            <translation>запись настроек</translation>
        </message>
        <message>
            <source>"owner" is needed, a text that is not empty</source>
            <translation>нужен "owner", непустой текст</translation>
        </message>
        <message>
            <source>"date" must be a text</source>
            <translation>"date" должен быть текстом</translation>
        </message>
        <message>
            <source>"description" must be a text</source>
            <translation>"description" должен быть текстом</translation>
        </message>
        <message>
            <source>"mailOwner" must be 0 or 1</source>
            <translation>"mailOwner" должен быть 0 или 1</translation>
        </message>
        <message>
            <source>"%1" is no date of the form 2026-03-01T10:11:12.345</source>
            <translation>"%1" не дата вида 2026-03-01T10:11:12.345</translation>
        </message>
        <message>
            <source>TAKEN</source>
            <translation>СНЯТО</translation>
        </message>
        <message>
            <source>OWNER</source>
            <translation>ВЛАДЕЛЕЦ</translation>
        </message>
        <message>
            <source>CHANGED</source>
            <translation>ИЗМЕНЕНО</translation>
        </message>
        <message>
            <source>BEFORE</source>
            <translation>ДО</translation>
        </message>
        <message>
            <source>AFTER</source>
            <translation>ПОСЛЕ</translation>
        </message>
        <message>
            <source>no state</source>
            <translation>нет состояния</translation>
        </message>
        <message>
            <source>the type of a state must be a number from 0 to 127, not "%1"</source>
            <translation>тип состояния должен быть числом от 0 до 127, а не "%1"</translation>
        </message>
        <message>
            <source>TYPE</source>
            <translation>ТИП</translation>
        </message>
        <message>
            <source>DESCRIPTION</source>
            <translation>ОПИСАНИЕ</translation>
        </message>
        <message>
            <source>STATE</source>
            <translation>СОСТОЯНИЕ</translation>
        </message>
        <message>
            <source>only %1 of %2 came</source>
            <translation>пришло только %1 из %2</translation>
        </message>
        <message>
            <source>%1 within %2</source>
            <translation>%1 за %2</translation>
        </message>
        <message>
            <source>there is no editor: set VISUAL or EDITOR to one, as in EDITOR=nano</source>
            <translation>нет редактора: задайте его в VISUAL или EDITOR, например EDITOR=nano</translation>
        </message>
        <message>
            <source>cannot start the editor "%1": %2</source>
            <translation>невозможно запустить редактор "%1": %2</translation>
        </message>
        <message>
            <source>the editor "%1" was ended by a signal</source>
            <translation>редактор "%1" завершён сигналом</translation>
        </message>
        <message>
            <source>the editor "%1" ended with status %2</source>
            <translation>редактор "%1" завершился с кодом %2</translation>
        </message>
        <message>
            <source>no reason given</source>
            <translation>причина не указана</translation>
        </message>
        <message>
            <source>%1 for a command with data</source>
            <translation>%1 для команды с данными</translation>
        </message>
        <message>
            <source>%1 for a command without data</source>
            <translation>%1 для команды без данных</translation>
        </message>
        <message>
            <source>refused by %1: %2</source>
            <translation>отказ от %1: %2</translation>
        </message>
        <message>
            <source>From</source>
            <translation>От</translation>
        </message>
        <message>
            <source>Sent</source>
            <translation>Отправлено</translation>
        </message>
        <message>
            <source>Command</source>
            <translation>Команда</translation>
        </message>
        <message>
            <source>Data</source>
            <translation>Данные</translation>
        </message>
        <message>
            <source>Message</source>
            <translation>Сообщение</translation>
        </message>
        <message>
            <source>no reply from %1 within %2</source>
            <translation>нет ответа от %1 за %2</translation>
        </message>
        <message>
            <source>Sends a command to a client and shows its reply</source>
            <translation>Отправляет клиенту команду и показывает его ответ</translation>
        </message>
        <message>
            <source>No reply within the time-out is a success: many services answer only what fails</source>
            <translation>Отсутствие ответа за время ожидания — это успех: многие службы отвечают только на неудачи</translation>
        </message>
        <message>
            <source>a call to oneself has nobody to answer it</source>
            <translation>на вызов самого себя некому ответить</translation>
        </message>
        <message>
            <source>The client that gets the command</source>
            <translation>Клиент, который получает команду</translation>
        </message>
        <message>
            <source>The command's name</source>
            <translation>Имя команды</translation>
        </message>
        <message>
            <source>The command's data: KEY=VALUE for a text, KEY:=JSON for any other value; or all of it as one JSON object</source>
            <translation>Данные команды: KEY=VALUE для текста, KEY:=JSON для другого значения; или всё как один объект JSON</translation>
        </message>
        <message>
            <source>How many seconds to wait for the reply</source>
            <translation>Сколько секунд ждать ответа</translation>
        </message>
        <message>
            <source>yes</source>
            <translation>да</translation>
        </message>
        <message>
            <source>Shows the names that a development bus knows</source>
            <translation>Показывает имена, которые знает шина разработки</translation>
        </message>
        <message>
            <source>NAME</source>
            <translation>ИМЯ</translation>
        </message>
        <message>
            <source>QUERY SINCE</source>
            <translation>QUERY С</translation>
        </message>
        <message>
            <source>RECEIVER SINCE</source>
            <translation>RECEIVER С</translation>
        </message>
        <message>
            <source>WAITING</source>
            <translation>ЖДЁТ</translation>
        </message>
        <message>
            <source>SUBSCRIBED</source>
            <translation>ПОДПИСКИ</translation>
        </message>
        <message>
            <source>SETTINGS</source>
            <translation>НАСТРОЙКИ</translation>
        </message>
        <message>
            <source>nobody is there, and nothing is stored</source>
            <translation>никого нет, и ничего не сохранено</translation>
        </message>
        <message>
            <source>the key %1 is given twice in one object</source>
            <translation>ключ %1 дважды встречается в одном объекте</translation>
        </message>
        <message>
            <source>%1 must be a JSON object</source>
            <translation>%1: нужен объект JSON</translation>
        </message>
        <message>
            <source>%1 is no JSON: %2 at byte %3</source>
            <translation>%1 — не JSON: %2 в байте %3</translation>
        </message>
        <message>
            <source>%1 is too large for a command: it has more than %2 bytes</source>
            <translation>%1: слишком много для команды, больше %2 байт</translation>
        </message>
        <message>
            <source>%1 holds no UTF-8 text</source>
            <translation>%1: нет текста UTF-8</translation>
        </message>
        <message>
            <source>the content of %1</source>
            <translation>содержимое %1</translation>
        </message>
        <message>
            <source>the value of "%1" is no JSON: %2</source>
            <translation>значение "%1" — не JSON: %2</translation>
        </message>
        <message>
            <source>the data of a command must be a JSON object, or KEY=VALUE and KEY:=JSON; "%1" is neither</source>
            <translation>данные команды должны быть объектом JSON или KEY=VALUE и KEY:=JSON; "%1" — ни то, ни другое</translation>
        </message>
        <message>
            <source>there is no key in "%1"</source>
            <translation>в "%1" нет ключа</translation>
        </message>
        <message>
            <source>the key "%1" is given twice</source>
            <translation>ключ "%1" указан дважды</translation>
        </message>
        <message>
            <source>the data of a command</source>
            <translation>данные команды</translation>
        </message>
        <message>
            <source>the data of a command is given twice: by --data and as "%1"</source>
            <translation>данные команды указаны дважды: с --data и как "%1"</translation>
        </message>
        <message>
            <source>a JSON object stands alone, without KEY=VALUE beside it: %1</source>
            <translation>объект JSON стоит один, без KEY=VALUE рядом: %1</translation>
        </message>
        <message>
            <source>The command's data: a JSON object, @FILE to read it from a file, or - for stdin</source>
            <translation>Данные команды: объект JSON, @FILE для чтения из файла или - для stdin</translation>
        </message>
        <message>
            <source>%1, %2 bad, %3</source>
            <translation>%1, повреждённых %2, %3</translation>
        </message>
        <message>
            <source>1 frame</source>
            <translation>1 кадр</translation>
        </message>
        <message numerus="yes">
            <source>%n frames</source>
            <translation>
                <numerusform>%n кадр</numerusform>
                <numerusform>%n кадра</numerusform>
                <numerusform>%n кадров</numerusform>
            </translation>
        </message>
        <message>
            <source>1 gap</source>
            <translation>1 пропуск</translation>
        </message>
        <message numerus="yes">
            <source>%n gaps</source>
            <translation>
                <numerusform>%n пропуск</numerusform>
                <numerusform>%n пропуска</numerusform>
                <numerusform>%n пропусков</numerusform>
            </translation>
        </message>
        <message>
            <source>nobody is called "%1" in this file</source>
            <translation>в этом файле никого нет с именем "%1"</translation>
        </message>
        <message>
            <source>Shows the frames in a capture file, and what is wrong with them</source>
            <translation>Показывает кадры файла захвата и что в них неверно</translation>
        </message>
        <message>
            <source>All of the data, on lines of its own</source>
            <translation>Все данные, на отдельных строках</translation>
        </message>
        <message>
            <source>FILE holds the bytes of one direction of a connection, whatever they are</source>
            <translation>FILE содержит байты одного направления соединения, какими бы они ни были</translation>
        </message>
        <message>
            <source>The bytes are from the receiver port, where the bus sends messages; otherwise they are from the query port</source>
            <translation>Байты — с порта receiver, на котором шина отправляет сообщения; иначе они с порта query</translation>
        </message>
        <message>
            <source>Filters are combined: a frame must fit all of them. tcpdump makes such a file: tcpdump -i lo -w bus.pcap 'port 45535 or port 45537'.</source>
            <translation>Фильтры действуют вместе: кадр должен подходить ко всем. Такой файл создаёт tcpdump: tcpdump -i lo -w bus.pcap 'port 45535 or port 45537'.</translation>
        </message>
        <message>
            <source>A capture of tcpdump or tarvex-capture, or the bytes of a connection; - is stdin</source>
            <translation>Захват tcpdump или tarvex-capture либо байты соединения; - это stdin</translation>
        </message>
        <message>
            <source>it is empty</source>
            <translation>он пуст</translation>
        </message>
        <message>
            <source>it is no capture, and its bytes do not begin with a frame; --raw decodes them anyway</source>
            <translation>это не захват, и байты начинаются не с кадра; --raw всё равно их разберёт</translation>
        </message>
        <message>
            <source>it is a capture, which tells the port: --receiver is for the bytes of a connection</source>
            <translation>это захват, в нём указан порт: --receiver — для байтов соединения</translation>
        </message>
        <message>
            <source>none of its 1 packet belongs to the bus</source>
            <translation>его 1 пакет не относится к шине</translation>
        </message>
        <message numerus="yes">
            <source>none of its %n packets belongs to the bus</source>
            <translation>
                <numerusform>его %n пакет не относится к шине</numerusform>
                <numerusform>ни один из его %n пакетов не относится к шине</numerusform>
                <numerusform>ни один из его %n пакетов не относится к шине</numerusform>
            </translation>
        </message>
        <message>
            <source>%1; the capture is damaged after packet %2: %3</source>
            <translation>%1; захват повреждён после пакета %2: %3</translation>
        </message>
        <message>
            <source>nothing is wrong</source>
            <translation>всё в порядке</translation>
        </message>
        <message>
            <source>%1 wrong</source>
            <translation>неверно: %1</translation>
        </message>
        <message>
            <source>%1 worth knowing</source>
            <translation>стоит знать: %1</translation>
        </message>
        <message>
            <source>%1 could not be looked at</source>
            <translation>не удалось посмотреть: %1</translation>
        </message>
        <message>
            <source>Says what is wrong with the bus here, and what to do about it</source>
            <translation>Говорит, что здесь не так с шиной и что с этим делать</translation>
        </message>
        <message>
            <source>--as is not for doctor, which has a name of its own and takes nobody's</source>
            <translation>--as не для doctor: у него своё имя, и чужого он не занимает</translation>
        </message>
        <message>
            <source>%1 must be a number above 0, not "%2"</source>
            <translation>%1 должен быть числом больше 0, а не "%2"</translation>
        </message>
        <message>
            <source>An exchange that takes more milliseconds is too slow; 100 without it</source>
            <translation>Обмен дольше стольких миллисекунд слишком медленный; без параметра 100</translation>
        </message>
        <message>
            <source>A state of a connected client that is older than so many seconds is wrong; without it, one older than 180 is worth knowing</source>
            <translation>Состояние соединённого клиента старше стольких секунд неверно; без параметра о состоянии старше 180 стоит знать</translation>
        </message>
        <message>
            <source>How many seconds the whole examination may take</source>
            <translation>Сколько секунд может длиться вся проверка</translation>
        </message>
        <message>
            <source>this bus brings about no faults: only a development bus of the same user can</source>
            <translation>эта шина не вызывает сбоев: это может только шина разработки того же пользователя</translation>
        </message>
        <message>
            <source>Makes the development bus bring about a fault on purpose</source>
            <translation>Заставляет шину разработки намеренно вызвать сбой</translation>
        </message>
        <message>
            <source>What the rule for it says: client=NAME, port=query|receiver, frame=reply|push, operation=NAME, command=NAME; nth=N, from=N, once or every; probability=P, seed=N; and do=EFFECT. The effects are error:CODE[:TEXT], silence, delay:MS, operation:NAME, sizeline:TEXT, size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], again, drop and limit:BYTES</source>
            <translation>Что говорит правило сбоя: client=NAME, port=query|receiver, frame=reply|push, operation=NAME, command=NAME; nth=N, from=N, once или every; probability=P, seed=N; и do=EFFECT. Эффекты: error:CODE[:TEXT], silence, delay:MS, operation:NAME, sizeline:TEXT, size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], again, drop и limit:BYTES</translation>
        </message>
        <message>
            <source>added fault %1: %2</source>
            <translation>добавлен сбой %1: %2</translation>
        </message>
        <message>
            <source>Shows the faults on purpose, and how often they happened</source>
            <translation>Показывает намеренные сбои и как часто они происходили</translation>
        </message>
        <message>
            <source>NUMBER</source>
            <translation>НОМЕР</translation>
        </message>
        <message>
            <source>HITS</source>
            <translation>СРАБОТАЛО</translation>
        </message>
        <message>
            <source>RULE</source>
            <translation>ПРАВИЛО</translation>
        </message>
        <message>
            <source>there are no faults</source>
            <translation>намеренных сбоев нет</translation>
        </message>
        <message>
            <source>Ends faults on purpose</source>
            <translation>Прекращает намеренные сбои</translation>
        </message>
        <message>
            <source>Which ones, as fault list shows them; all when there is none</source>
            <translation>Какие, как их показывает fault list; без аргумента — все</translation>
        </message>
        <message>
            <source>ended the faults %1</source>
            <translation>прекращены сбои %1</translation>
        </message>
        <message>
            <source>NUMBER must be a whole number from 1 to %1, not "%2"</source>
            <translation>NUMBER должен быть целым числом от 1 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>--slow must be a number of milliseconds from 0 to 1000000000, not "%1"</source>
            <translation>--slow должен быть числом миллисекунд от 0 до 1000000000, а не "%1"</translation>
        </message>
        <message>
            <source>Only what is wrong: error codes, commandError, bad frames</source>
            <translation>Только то, что неверно: коды ошибок, commandError, повреждённые кадры</translation>
        </message>
        <message>
            <source>Looks at the network, so any bus will do. INTERFACE is lo when it is not given</source>
            <translation>Смотрит в сеть, поэтому годится любая шина. Без указания INTERFACE — lo</translation>
        </message>
        <message>
            <source>--last needs the development bus: the network keeps no past</source>
            <translation>--last требует шины разработки: сеть прошлого не хранит</translation>
        </message>
        <message>
            <source>--last must be a whole number from 1 to %1, not "%2"</source>
            <translation>--last должен быть целым числом от 1 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>Only what this client sends or gets, and its connections</source>
            <translation>Только то, что этот клиент отправляет или получает, и его соединения</translation>
        </message>
        <message>
            <source>Only what this client sends; "bus" is the bus itself</source>
            <translation>Только то, что этот клиент отправляет; "bus" — это сама шина</translation>
        </message>
        <message>
            <source>Only what this client gets; "bus" is the bus itself</source>
            <translation>Только то, что этот клиент получает; "bus" — это сама шина</translation>
        </message>
        <message>
            <source>Only messages with this command</source>
            <translation>Только сообщения с этой командой</translation>
        </message>
        <message>
            <source>Only this operation, such as saveState</source>
            <translation>Только эта операция, например saveState</translation>
        </message>
        <message>
            <source>Only replies that took at least so many milliseconds</source>
            <translation>Только ответы, которые заняли не меньше стольких миллисекунд</translation>
        </message>
        <message>
            <source>Shows whose settings are stored</source>
            <translation>Показывает, чьи настройки сохранены</translation>
        </message>
        <message>
            <source>WRITTEN</source>
            <translation>ЗАПИСАНО</translation>
        </message>
        <message>
            <source>VALUES</source>
            <translation>ЗНАЧЕНИЯ</translation>
        </message>
        <message>
            <source>no settings are stored</source>
            <translation>настроек не сохранено</translation>
        </message>
        <message>
            <source>Shows all states that are stored</source>
            <translation>Показывает все сохранённые состояния</translation>
        </message>
        <message>
            <source>no states are stored</source>
            <translation>состояний не сохранено</translation>
        </message>
        <message>
            <source>listening as %1</source>
            <translation>приём как %1</translation>
        </message>
        <message>
            <source>Shows the messages that come, until interrupted</source>
            <translation>Показывает приходящие сообщения, пока не прервут</translation>
        </message>
        <message>
            <source>Ends after so many messages</source>
            <translation>Завершается после стольких сообщений</translation>
        </message>
        <message>
            <source>standing in as %1</source>
            <translation>замещение как %1</translation>
        </message>
        <message>
            <source>no log line came</source>
            <translation>не пришло ни одной строки журнала</translation>
        </message>
        <message>
            <source>this bus cannot tell whether %1 is there; --replace takes its place in any case</source>
            <translation>эта шина не может сообщить, есть ли %1; --replace занимает его место в любом случае</translation>
        </message>
        <message>
            <source>%1 is there, and would lose its lines; without --stand-in its lines are shown beside it, and --replace takes its place</source>
            <translation>%1 есть и потерял бы свои строки; без --stand-in его строки показываются рядом с ним, а --replace занимает его место</translation>
        </message>
        <message>
            <source>Shows the log lines of all services, until interrupted</source>
            <translation>Показывает строки журнала всех служб, пока не прервут</translation>
        </message>
        <message>
            <source>The lines for the screen in place of those for the log service</source>
            <translation>Строки для экрана вместо строк для службы журнала</translation>
        </message>
        <message>
            <source>Takes the place of the log service: the lines are acknowledged and gone</source>
            <translation>Занимает место службы журнала: строки подтверждаются и пропадают</translation>
        </message>
        <message>
            <source>With --stand-in: also when a log service is there</source>
            <translation>С --stand-in: также когда служба журнала есть</translation>
        </message>
        <message>
            <source>The lines are seen on their way to the bus, so a log service gets them as well.</source>
            <translation>Строки видны на пути к шине, поэтому служба журнала тоже их получает.</translation>
        </message>
        <message>
            <source>--replace needs --stand-in</source>
            <translation>--replace требует --stand-in</translation>
        </message>
        <message>
            <source>--stand-in takes neither --last nor --capture: it gets the lines that the bus has kept, and those that come</source>
            <translation>--stand-in не принимает ни --last, ни --capture: он получает строки, которые шина сохранила, и те, что приходят</translation>
        </message>
        <message>
            <source>--level must be info, warning or error, not "%1"</source>
            <translation>--level должен быть info, warning или error, а не "%1"</translation>
        </message>
        <message>
            <source>Only lines of this level or a higher one: info, warning or error</source>
            <translation>Только строки этого уровня или выше: info, warning или error</translation>
        </message>
        <message>
            <source>Only lines of this client</source>
            <translation>Только строки этого клиента</translation>
        </message>
        <message>
            <source>Begins with the last N lines that fit, as far as the bus has kept them</source>
            <translation>Начинает с последних N подходящих строк, насколько шина их сохранила</translation>
        </message>
        <message>
            <source>Ends after so many lines</source>
            <translation>Завершается после стольких строк</translation>
        </message>
        <message>
            <source>%1 (after %2 ms)</source>
            <translation>%1 (через %2 мс)</translation>
        </message>
        <message>
            <source>the bus is there, but did not accept all services within %1</source>
            <translation>шина есть, но приняла не все службы за %1</translation>
        </message>
        <message>
            <source>%1: connected again</source>
            <translation>%1: снова соединено</translation>
        </message>
        <message>
            <source>%1: %2; trying again every second</source>
            <translation>%1: %2; новая попытка каждую секунду</translation>
        </message>
        <message>
            <source>TIME</source>
            <translation>ВРЕМЯ</translation>
        </message>
        <message>
            <source>SERVICE</source>
            <translation>СЛУЖБА</translation>
        </message>
        <message>
            <source>COMMAND</source>
            <translation>КОМАНДА</translation>
        </message>
        <message>
            <source>ANSWER</source>
            <translation>ОТВЕТ</translation>
        </message>
        <message>
            <source>no command came</source>
            <translation>не пришло ни одной команды</translation>
        </message>
        <message>
            <source>Stands in for services that a file describes, until interrupted</source>
            <translation>Замещает службы, описанные в файле, пока не прервут</translation>
        </message>
        <message>
            <source>Only checks the file, and tells every error with its line</source>
            <translation>Только проверяет файл и сообщает о каждой ошибке с её строкой</translation>
        </message>
        <message>
            <source>Takes the names of services that are on the bus. They lose their connections and messages</source>
            <translation>Занимает имена служб, которые есть на шине. Они теряют соединения и сообщения</translation>
        </message>
        <message>
            <source>The description of the services, a JSON file</source>
            <translation>Описание служб, файл JSON</translation>
        </message>
        <message>
            <source>Ends after so many commands</source>
            <translation>Завершается после стольких команд</translation>
        </message>
        <message>
            <source>%1 is right; services: %2, commands: %3</source>
            <translation>%1 верен; служб: %2, команд: %3</translation>
        </message>
        <message>
            <source>this bus cannot tell who is there; a service with one of these names loses its connection to its stand-in</source>
            <translation>эта шина не может сообщить, кто есть; служба с одним из этих имён уступает соединение своему заместителю</translation>
        </message>
        <message>
            <source>on the bus already: %1; --replace takes the names from them</source>
            <translation>уже на шине: %1; --replace занимает их имена</translation>
        </message>
        <message>
            <source>Shows every frame of every client, until interrupted</source>
            <translation>Показывает каждый кадр каждого клиента, пока не прервут</translation>
        </message>
        <message>
            <source>Filters are combined: a frame must fit all of them. A reply counts like its request.</source>
            <translation>Фильтры действуют вместе: кадр должен подходить ко всем. Ответ считается так же, как его запрос.</translation>
        </message>
        <message>
            <source>Begins with the last N of the past that fit, as far as the bus has kept them</source>
            <translation>Начинает с последних N подходящих из прошлого, насколько шина их сохранила</translation>
        </message>
        <message>
            <source>Ends after so many frames</source>
            <translation>Завершается после стольких кадров</translation>
        </message>
        <message>
            <source>--count must be a whole number from 1 to %1, not "%2"</source>
            <translation>--count должен быть целым числом от 1 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>%1 must be a number of seconds from 0.001 to 2000000, not "%2"</source>
            <translation>%1 должен быть числом секунд от 0.001 до 2000000, а не "%2"</translation>
        </message>
        <message>
            <source>Clients' names; the own name when there is none</source>
            <translation>Имена клиентов; без них — собственное имя</translation>
        </message>
        <message>
            <source>Ends after so many seconds: with status 4 when nothing came by then, or less than --count</source>
            <translation>Завершается через столько секунд: с кодом 4, если до этого ничего не пришло или пришло меньше --count</translation>
        </message>
        <message>
            <source>Example: %1</source>
            <translation>Пример: %1</translation>
        </message>
        <message>
            <source>--matches is no regular expression: %1 at character %2</source>
            <translation>--matches — не регулярное выражение: %1 в символе %2</translation>
        </message>
        <message>
            <source>Measures how long the bus takes to answer</source>
            <translation>Измеряет, за какое время отвечает шина</translation>
        </message>
        <message>
            <source>--interval must be a whole number of milliseconds from 0 to %1, not "%2"</source>
            <translation>--interval должен быть целым числом миллисекунд от 0 до %1, а не "%2"</translation>
        </message>
        <message>
            <source>no answer came</source>
            <translation>не пришло ни одного ответа</translation>
        </message>
        <message>
            <source>The pause between two exchanges, in milliseconds; 10 without it</source>
            <translation>Пауза между двумя обменами, в миллисекундах; без параметра 10</translation>
        </message>
        <message>
            <source>Ends after so many exchanges; 100 without it</source>
            <translation>Завершается после стольких обменов; без параметра 100</translation>
        </message>
        <message>
            <source>Writes every frame of every client to a file, until interrupted</source>
            <translation>Пишет каждый кадр каждого клиента в файл, пока не прервут</translation>
        </message>
        <message>
            <source>Replaces a file that is there already</source>
            <translation>Заменяет файл, который уже есть</translation>
        </message>
        <message>
            <source>The file holds one JSON object a line; "tarvexctl replay" plays it. A filter takes the frames away that a replay may need.</source>
            <translation>Файл содержит по одному объекту JSON в строке; "tarvexctl replay" воспроизводит его. Фильтр убирает кадры, которые могут понадобиться при воспроизведении.</translation>
        </message>
        <message>
            <source>recording to %1</source>
            <translation>запись в %1</translation>
        </message>
        <message>
            <source>recorded 1 frame</source>
            <translation>записан 1 кадр</translation>
        </message>
        <message numerus="yes">
            <source>recorded %n frames</source>
            <translation>
                <numerusform>записан %n кадр</numerusform>
                <numerusform>записано %n кадра</numerusform>
                <numerusform>записано %n кадров</numerusform>
            </translation>
        </message>
        <message>
            <source>The file; - is stdout</source>
            <translation>Файл; - это stdout</translation>
        </message>
        <message>
            <source>--speed must be a number from 0.001 to 1000000, or max, not "%1"</source>
            <translation>--speed должен быть числом от 0.001 до 1000000 или max, а не "%1"</translation>
        </message>
        <message>
            <source>--patience must be a number of seconds from 0.001 to 3600, not "%1"</source>
            <translation>--patience должен быть числом секунд от 0.001 до 3600, а не "%1"</translation>
        </message>
        <message>
            <source>%1 is connected, and would lose its connections; end it, or choose other clients with --only, or take its place with --force</source>
            <translation>%1 соединён и потерял бы свои соединения; завершите его, выберите других клиентов с --only или займите его место с --force</translation>
        </message>
        <message>
            <source>not everything was played within %1</source>
            <translation>за %1 воспроизведено не всё</translation>
        </message>
        <message>
            <source>Plays a recording: its clients to a bus, or its bus to a service</source>
            <translation>Воспроизводит запись обмена: её клиентов для шины или её шину для службы</translation>
        </message>
        <message>
            <source>Plays the bus: takes its ports and answers the services that connect</source>
            <translation>Играет шину: занимает её порты и отвечает службам, которые соединяются</translation>
        </message>
        <message>
            <source>Each frame waits for Enter</source>
            <translation>Каждый кадр ждёт клавиши Enter</translation>
        </message>
        <message>
            <source>Only this client; for each client once more</source>
            <translation>Только этот клиент; для каждого клиента ещё раз</translation>
        </message>
        <message>
            <source>Also commands, which are carried out once more</source>
            <translation>Также команды, которые выполняются ещё раз</translation>
        </message>
        <message>
            <source>Shows what comes back differently; the status is 1 then</source>
            <translation>Показывает, что вернулось иначе; код завершения тогда 1</translation>
        </message>
        <message>
            <source>With --diff: dates and uids must be the same as well</source>
            <translation>С --diff: даты и uid тоже должны совпадать</translation>
        </message>
        <message>
            <source>Also plays clients that are connected; they lose their connections</source>
            <translation>Воспроизводит и клиентов, которые соединены; они теряют соединения</translation>
        </message>
        <message>
            <source>A command that is played prints a ticket again, so commands are left out without --with-commands.</source>
            <translation>Воспроизведённая команда печатает билет ещё раз, поэтому без --with-commands команды опускаются.</translation>
        </message>
        <message>
            <source>--strict needs --diff</source>
            <translation>--strict требует --diff</translation>
        </message>
        <message>
            <source>--step reads stdin, so the recording must be a file</source>
            <translation>--step читает stdin, поэтому запись обмена должна быть файлом</translation>
        </message>
        <message>
            <source>the last line is cut and was left out: the recorder was killed, most likely</source>
            <translation>последняя строка обрезана и опущена: скорее всего, запись была прервана</translation>
        </message>
        <message>
            <source>--only: there is no client "%1" in the recording; there are %2</source>
            <translation>--only: в записи обмена нет клиента "%1"; есть %2</translation>
        </message>
        <message>
            <source>there is nothing to play in this recording</source>
            <translation>в этой записи обмена нечего воспроизводить</translation>
        </message>
        <message>
            <source>left out 1 request whose data was too large to be recorded</source>
            <translation>опущен 1 запрос, данные которого были слишком велики для записи</translation>
        </message>
        <message numerus="yes">
            <source>left out %n requests whose data was too large to be recorded</source>
            <translation>
                <numerusform>опущен %n запрос, данные которого были слишком велики для записи</numerusform>
                <numerusform>опущено %n запроса, данные которых были слишком велики для записи</numerusform>
                <numerusform>опущено %n запросов, данные которых были слишком велики для записи</numerusform>
            </translation>
        </message>
        <message>
            <source>left out 1 connection of which the client is not known</source>
            <translation>опущено 1 соединение, клиент которого неизвестен</translation>
        </message>
        <message numerus="yes">
            <source>left out %n connections of which the client is not known</source>
            <translation>
                <numerusform>опущено %n соединение, клиент которого неизвестен</numerusform>
                <numerusform>опущено %n соединения, клиент которых неизвестен</numerusform>
                <numerusform>опущено %n соединений, клиент которых неизвестен</numerusform>
            </translation>
        </message>
        <message>
            <source>playing the bus to %1</source>
            <translation>воспроизведение шины для %1</translation>
        </message>
        <message>
            <source>left out 1 command; --with-commands plays them too</source>
            <translation>опущена 1 команда; --with-commands воспроизводит и её</translation>
        </message>
        <message numerus="yes">
            <source>left out %n commands; --with-commands plays them too</source>
            <translation>
                <numerusform>опущена %n команда; --with-commands воспроизводит и её</numerusform>
                <numerusform>опущено %n команды; --with-commands воспроизводит и их</numerusform>
                <numerusform>опущено %n команд; --with-commands воспроизводит и их</numerusform>
            </translation>
        </message>
        <message>
            <source>left out 1 bad frame</source>
            <translation>опущен 1 повреждённый кадр</translation>
        </message>
        <message numerus="yes">
            <source>left out %n bad frames</source>
            <translation>
                <numerusform>опущен %n повреждённый кадр</numerusform>
                <numerusform>опущено %n повреждённых кадра</numerusform>
                <numerusform>опущено %n повреждённых кадров</numerusform>
            </translation>
        </message>
        <message>
            <source>played 1 frame</source>
            <translation>воспроизведён 1 кадр</translation>
        </message>
        <message numerus="yes">
            <source>played %n frames</source>
            <translation>
                <numerusform>воспроизведён %n кадр</numerusform>
                <numerusform>воспроизведено %n кадра</numerusform>
                <numerusform>воспроизведено %n кадров</numerusform>
            </translation>
        </message>
        <message>
            <source>everything came back as recorded</source>
            <translation>всё вернулось как записано</translation>
        </message>
        <message>
            <source>1 difference from the recording</source>
            <translation>1 отличие от записи обмена</translation>
        </message>
        <message numerus="yes">
            <source>%n differences from the recording</source>
            <translation>
                <numerusform>%n отличие от записи обмена</numerusform>
                <numerusform>%n отличия от записи обмена</numerusform>
                <numerusform>%n отличий от записи обмена</numerusform>
            </translation>
        </message>
        <message>
            <source>The recording; - is stdin</source>
            <translation>Запись обмена; - это stdin</translation>
        </message>
        <message>
            <source>So many times as fast as recorded, or max</source>
            <translation>Во столько раз быстрее записанного, или max</translation>
        </message>
        <message>
            <source>How many seconds to wait for each recorded answer; 5 without it</source>
            <translation>Сколько секунд ждать каждого записанного ответа; без параметра 5</translation>
        </message>
        <message>
            <source>Ends after so many seconds, with status 4 when not everything was played by then</source>
            <translation>Завершается через столько секунд, с кодом 4, если до этого воспроизведено не всё</translation>
        </message>
        <message>
            <source>Sends a message to a client</source>
            <translation>Отправляет клиенту сообщение</translation>
        </message>
        <message>
            <source>The client that gets the message</source>
            <translation>Клиент, который получает сообщение</translation>
        </message>
        <message>
            <source>The message; with --command the command's data: KEY=VALUE for a text, KEY:=JSON for any other value; or all of it as one JSON object</source>
            <translation>Сообщение; с --command данные команды: KEY=VALUE для текста, KEY:=JSON для другого значения; или всё как один объект JSON</translation>
        </message>
        <message>
            <source>Sends the command of this name</source>
            <translation>Отправляет команду с этим именем</translation>
        </message>
        <message>
            <source>--data is the data of a command: it needs --command</source>
            <translation>--data — это данные команды: нужен --command</translation>
        </message>
        <message>
            <source>send needs a TEXT, or a --command</source>
            <translation>send требует TEXT или --command</translation>
        </message>
        <message>
            <source>unexpected argument "%1"; a TEXT with blanks needs quotes</source>
            <translation>неожиданный аргумент "%1"; TEXT с пробелами нужно взять в кавычки</translation>
        </message>
        <message>
            <source>sent to %1, UID %2</source>
            <translation>отправлено клиенту %1, UID %2</translation>
        </message>
        <message>
            <source>%1 has no settings</source>
            <translation>у %1 нет настроек</translation>
        </message>
        <message>
            <source>there is no record of %1 in %2</source>
            <translation>записи %1 нет в %2</translation>
        </message>
        <message>
            <source>%1 in %2</source>
            <translation>%1 в %2</translation>
        </message>
        <message>
            <source>Shows what differs between two settings records or files</source>
            <translation>Показывает различия двух записей или файлов настроек</translation>
        </message>
        <message>
            <source>FROM and TO are clients' names, whatever they look like</source>
            <translation>FROM и TO — имена клиентов, как бы они ни выглядели</translation>
        </message>
        <message>
            <source>A name with a slash, or one that ends with .json or .jsonl, is a file, and - is stdin; any other name is a client's. The exit status is 1 when something differs.</source>
            <translation>Имя с косой чертой или с окончанием .json или .jsonl — это файл, а - это stdin; любое другое имя — имя клиента. Код завершения 1, если есть различия.</translation>
        </message>
        <message>
            <source>only one of FROM and TO can be stdin</source>
            <translation>только одно из FROM и TO может быть stdin</translation>
        </message>
        <message>
            <source>A client's name, or a file</source>
            <translation>Имя клиента или файл</translation>
        </message>
        <message>
            <source>The same</source>
            <translation>То же</translation>
        </message>
        <message>
            <source>the text is empty</source>
            <translation>текст пуст</translation>
        </message>
        <message>
            <source>the text holds %1 records, not one</source>
            <translation>в тексте записей: %1, а не одна</translation>
        </message>
        <message>
            <source>the "owner" must stay "%1"; settings load saves for other owners</source>
            <translation>"owner" должен остаться "%1"; для других владельцев сохраняет settings load</translation>
        </message>
        <message>
            <source>the text stays in %1</source>
            <translation>текст остаётся в %1</translation>
        </message>
        <message>
            <source>the text is in %1 until it is saved</source>
            <translation>текст находится в %1, пока он не сохранён</translation>
        </message>
        <message>
            <source>the settings of %1 were saved meanwhile; what is stored is left as it is</source>
            <translation>настройки %1 тем временем сохранены; сохранённое остаётся как есть</translation>
        </message>
        <message>
            <source>the settings of %1 were removed meanwhile; what is stored is left as it is</source>
            <translation>настройки %1 тем временем удалены; сохранённое остаётся как есть</translation>
        </message>
        <message>
            <source>Edit again?</source>
            <translation>Редактировать снова?</translation>
        </message>
        <message>
            <source>given up</source>
            <translation>прекращено</translation>
        </message>
        <message>
            <source>saved the settings of %1: %2</source>
            <translation>сохранены настройки %1: %2</translation>
        </message>
        <message>
            <source>nothing was changed, so nothing is saved in the settings of %1</source>
            <translation>ничего не изменено, поэтому в настройках %1 ничего не сохраняется</translation>
        </message>
        <message>
            <source>Opens the settings of a client in $VISUAL or $EDITOR</source>
            <translation>Открывает настройки клиента в $VISUAL или $EDITOR</translation>
        </message>
        <message>
            <source>The client's name</source>
            <translation>Имя клиента</translation>
        </message>
        <message>
            <source>%1, so %2 is left as it is</source>
            <translation>%1, поэтому %2 остаётся как есть</translation>
        </message>
        <message>
            <source>this bus does not list what it stores</source>
            <translation>эта шина не перечисляет, что она хранит</translation>
        </message>
        <message>
            <source>%1 has no settings; nothing is exported</source>
            <translation>у %1 нет настроек; ничего не экспортируется</translation>
        </message>
        <message>
            <source>%1: %2; correct this in the document, because settings import refuses it</source>
            <translation>%1: %2; исправьте это в документе, потому что settings import это отклоняет</translation>
        </message>
        <message>
            <source>Writes the settings of clients as one document</source>
            <translation>Записывает настройки клиентов одним документом</translation>
        </message>
        <message>
            <source>Clients' names; all that have settings when there is none</source>
            <translation>Имена клиентов; без них — все, у кого есть настройки</translation>
        </message>
        <message>
            <source>no settings are stored; the document holds no record</source>
            <translation>настроек не сохранено; в документе нет записей</translation>
        </message>
        <message>
            <source>wrote the settings of %1 to %2</source>
            <translation>настройки %1 записаны в %2</translation>
        </message>
        <message>
            <source>nobody</source>
            <translation>никого</translation>
        </message>
        <message>
            <source>Writes to this file; it is replaced at once when all is written</source>
            <translation>Пишет в этот файл; он заменяется целиком, когда всё записано</translation>
        </message>
        <message>
            <source>Owner</source>
            <translation>Владелец</translation>
        </message>
        <message>
            <source>Written</source>
            <translation>Записано</translation>
        </message>
        <message>
            <source>Description</source>
            <translation>Описание</translation>
        </message>
        <message>
            <source>Mail owner</source>
            <translation>Владелец почты</translation>
        </message>
        <message>
            <source>no</source>
            <translation>нет</translation>
        </message>
        <message>
            <source>GROUP</source>
            <translation>ГРУППА</translation>
        </message>
        <message>
            <source>KEY</source>
            <translation>КЛЮЧ</translation>
        </message>
        <message>
            <source>VALUE</source>
            <translation>ЗНАЧЕНИЕ</translation>
        </message>
        <message>
            <source>Shows the settings of clients</source>
            <translation>Показывает настройки клиентов</translation>
        </message>
        <message>
            <source>not saved, because of an interruption</source>
            <translation>не сохранено из-за прерывания</translation>
        </message>
        <message>
            <source>saved meanwhile; what is stored is left as it is</source>
            <translation>тем временем сохранены; сохранённое остаётся как есть</translation>
        </message>
        <message>
            <source>removed meanwhile; what is stored is left as it is</source>
            <translation>тем временем удалены; сохранённое остаётся как есть</translation>
        </message>
        <message>
            <source>%1 was saved meanwhile</source>
            <translation>%1: тем временем сохранены</translation>
        </message>
        <message>
            <source>%1 was removed meanwhile</source>
            <translation>%1: тем временем удалены</translation>
        </message>
        <message>
            <source>the settings of %1 may not be what they were</source>
            <translation>настройки %1 могут быть не такими, как были</translation>
        </message>
        <message>
            <source>%1; what was stored before is in %2, for settings import</source>
            <translation>%1; сохранённое ранее находится в %2, для settings import</translation>
        </message>
        <message>
            <source>%1; what was stored before: %2</source>
            <translation>%1; сохранённое ранее: %2</translation>
        </message>
        <message>
            <source>nothing was saved</source>
            <translation>ничего не сохранено</translation>
        </message>
        <message>
            <source>what was saved before that is put back: all is as it was</source>
            <translation>сохранённое перед этим возвращено: всё как было</translation>
        </message>
        <message>
            <source>not all could be put back (%1): %2</source>
            <translation>не всё удалось вернуть (%1): %2</translation>
        </message>
        <message>
            <source>%1 of %2 records is stored like this already</source>
            <translation>%1 из %2 записей уже сохранена так</translation>
        </message>
        <message>
            <source>%1 of %2 records are stored like this already</source>
            <translation>%1 из %2 записей уже сохранены так</translation>
        </message>
        <message>
            <source>Saves the records of a file: all of them or none</source>
            <translation>Сохраняет записи файла: все или ни одной</translation>
        </message>
        <message>
            <source>Shows what would change, and saves nothing</source>
            <translation>Показывает, что изменилось бы, и ничего не сохраняет</translation>
        </message>
        <message>
            <source>all records were saved before the interruption</source>
            <translation>все записи сохранены до прерывания</translation>
        </message>
        <message>
            <source>nothing is saved, because of --dry-run</source>
            <translation>из-за --dry-run ничего не сохраняется</translation>
        </message>
        <message>
            <source>A file of settings export or get; - is stdin</source>
            <translation>Файл от settings export или get; - это stdin</translation>
        </message>
        <message>
            <source>Saves records as settings get and export write them</source>
            <translation>Сохраняет записи в том виде, в каком их пишут settings get и export</translation>
        </message>
        <message>
            <source>The file with the records; stdin when it is - or missing</source>
            <translation>Файл с записями; stdin, если указан - или ничего не указано</translation>
        </message>
        <message>
            <source>there is no setting %1/%2 in the settings of %3</source>
            <translation>нет настройки %1/%2 в настройках %3</translation>
        </message>
        <message>
            <source>Removes one setting; the others stay</source>
            <translation>Удаляет одну настройку; остальные остаются</translation>
        </message>
        <message>
            <source>removed %1/%2 from the settings of %3</source>
            <translation>%1/%2 удалено из настроек %3</translation>
        </message>
        <message>
            <source>The setting's group; may be empty</source>
            <translation>Группа настройки; может быть пустой</translation>
        </message>
        <message>
            <source>The setting's name within the group</source>
            <translation>Имя настройки внутри группы</translation>
        </message>
        <message>
            <source>Removes all settings of a client</source>
            <translation>Удаляет все настройки клиента</translation>
        </message>
        <message>
            <source>removed the settings of %1</source>
            <translation>удалены настройки %1</translation>
        </message>
        <message>
            <source>"%1/%2" is stored already, with the slash between group and key at another place</source>
            <translation>"%1/%2" уже сохранено, с косой чертой между группой и ключом в другом месте</translation>
        </message>
        <message>
            <source>saved %1/%2 = %3 in the settings of %4</source>
            <translation>сохранено %1/%2 = %3 в настройках %4</translation>
        </message>
        <message>
            <source>saved %1/%2 = %3 in the settings of %4 (its first)</source>
            <translation>сохранено %1/%2 = %3 в настройках %4 (первых)</translation>
        </message>
        <message>
            <source>Stores one setting, beside those that are stored</source>
            <translation>Сохраняет одну настройку рядом с сохранёнными</translation>
        </message>
        <message>
            <source>Takes VALUE as a text even if it is JSON</source>
            <translation>Принимает VALUE как текст, даже если это JSON</translation>
        </message>
        <message>
            <source>The value: JSON, or else a text</source>
            <translation>Значение: JSON или иначе текст</translation>
        </message>
        <message>
            <source>A new description of the client's settings</source>
            <translation>Новое описание настроек клиента</translation>
        </message>
        <message>
            <source>no change came</source>
            <translation>не пришло ни одного изменения</translation>
        </message>
        <message>
            <source>no settings</source>
            <translation>нет настроек</translation>
        </message>
        <message>
            <source>watching the settings of %1</source>
            <translation>наблюдение за настройками %1</translation>
        </message>
        <message>
            <source>Shows each change of the settings of clients</source>
            <translation>Показывает каждое изменение настроек клиентов</translation>
        </message>
        <message>
            <source>Clients' names</source>
            <translation>Имена клиентов</translation>
        </message>
        <message>
            <source>Looks again after so many milliseconds, 50 to 3600000</source>
            <translation>Смотрит снова через столько миллисекунд, от 50 до 3600000</translation>
        </message>
        <message>
            <source>--interval must be a whole number of milliseconds from %1 to %2, not "%3"</source>
            <translation>--interval должен быть целым числом миллисекунд от %1 до %2, а не "%3"</translation>
        </message>
        <message>
            <source>Ends after so many changes</source>
            <translation>Завершается после стольких изменений</translation>
        </message>
        <message>
            <source>Taken</source>
            <translation>Снято</translation>
        </message>
        <message>
            <source>Type</source>
            <translation>Тип</translation>
        </message>
        <message>
            <source>State</source>
            <translation>Состояние</translation>
        </message>
        <message>
            <source>Shows the states of clients</source>
            <translation>Показывает состояния клиентов</translation>
        </message>
        <message>
            <source>Stores a state under the own name</source>
            <translation>Сохраняет состояние под собственным именем</translation>
        </message>
        <message>
            <source>The kind of state, a number from 0 to 127</source>
            <translation>Вид состояния, число от 0 до 127</translation>
        </message>
        <message>
            <source>saved the state of %1</source>
            <translation>сохранено состояние %1</translation>
        </message>
        <message>
            <source>The state, usually a JSON text</source>
            <translation>Состояние, обычно текст JSON</translation>
        </message>
        <message>
            <source>A text for people</source>
            <translation>Текст для людей</translation>
        </message>
        <message>
            <source>Shows the states of clients, and then each change</source>
            <translation>Показывает состояния клиентов, а затем каждое изменение</translation>
        </message>
        <message>
            <source>Shows of each change only what differs from the state before</source>
            <translation>Показывает в каждом изменении только отличия от прежнего состояния</translation>
        </message>
        <message>
            <source>this bus does not tell who is there; only the states of the %1 names that the library knows are asked for</source>
            <translation>эта шина не сообщает, кто есть; запрашиваются только состояния имён, известных библиотеке: %1</translation>
        </message>
        <message>
            <source>%1 h %2 min</source>
            <translation>%1 ч %2 мин</translation>
        </message>
        <message>
            <source>in memory</source>
            <translation>в памяти</translation>
        </message>
        <message>
            <source>%1 FAILS: %2</source>
            <translation>%1 СБОЙ: %2</translation>
        </message>
        <message>
            <source>Bus</source>
            <translation>Шина</translation>
        </message>
        <message>
            <source>development bus</source>
            <translation>шина разработки</translation>
        </message>
        <message>
            <source>development bus %1, process %2</source>
            <translation>шина разработки %1, процесс %2</translation>
        </message>
        <message>
            <source>Running</source>
            <translation>Работает</translation>
        </message>
        <message>
            <source>since %1 (%2)</source>
            <translation>с %1 (%2)</translation>
        </message>
        <message>
            <source>Storage</source>
            <translation>Хранилище</translation>
        </message>
        <message>
            <source>Traffic</source>
            <translation>Обмен</translation>
        </message>
        <message>
            <source>connections %1, requests so far %2, acknowledged messages %3</source>
            <translation>соединений %1, запросов %2, подтверждённых сообщений %3</translation>
        </message>
        <message>
            <source>receiver only</source>
            <translation>только receiver</translation>
        </message>
        <message>
            <source>both</source>
            <translation>оба</translation>
        </message>
        <message>
            <source>query only</source>
            <translation>только query</translation>
        </message>
        <message>
            <source>%1 (%2 query)</source>
            <translation>%1 (%2 query)</translation>
        </message>
        <message>
            <source>STATE SINCE</source>
            <translation>СОСТОЯНИЕ С</translation>
        </message>
        <message>
            <source>CLIENT</source>
            <translation>КЛИЕНТ</translation>
        </message>
        <message>
            <source>CONNECTIONS</source>
            <translation>СОЕДИНЕНИЯ</translation>
        </message>
        <message>
            <source>and %1 more: see "tarvexctl clients" and "tarvexctl state list"</source>
            <translation>и ещё %1: см. "tarvexctl clients" и "tarvexctl state list"</translation>
        </message>
        <message>
            <source>another one than a development bus of this user</source>
            <translation>другая, не шина разработки этого пользователя</translation>
        </message>
        <message>
            <source>Answer</source>
            <translation>Ответ</translation>
        </message>
        <message>
            <source>after %1</source>
            <translation>через %1</translation>
        </message>
        <message>
            <source>none</source>
            <translation>нет</translation>
        </message>
        <message>
            <source>%1; "tarvex-devbus" starts a development bus, "tarvexctl --help" shows the verbs</source>
            <translation>%1; "tarvex-devbus" запускает шину разработки, "tarvexctl --help" показывает действия</translation>
        </message>
        <message>
            <source>Shows the bus, its clients and their states at a glance; also without a verb</source>
            <translation>Показывает шину, её клиентов и их состояния одним взглядом; также без действия</translation>
        </message>
        <message>
            <source>How many seconds to wait for the bus</source>
            <translation>Сколько секунд ждать шину</translation>
        </message>
        <message>
            <source>the goal of a subscription must be 1, 2 or 3, not "%1"; a name that holds a colon needs one after it: "%2:3"</source>
            <translation>цель подписки должна быть 1, 2 или 3, а не "%1"; имени с двоеточием нужно двоеточие в конце: "%2:3"</translation>
        </message>
        <message>
            <source>"%1" is given twice with --subscribe</source>
            <translation>"%1" дважды указано с --subscribe</translation>
        </message>
        <message>
            <source>Also what PUBLISHER publishes: its states (1), its messages to nobody in particular (2), or both (3, and without a goal); for each publisher once more</source>
            <translation>Также то, что публикует PUBLISHER: его состояния (1), его сообщения никому в частности (2) или то и другое (3 и без цели); для каждого издателя ещё раз</translation>
        </message>
        <message>
            <source>The stored settings of a client</source>
            <translation>Сохранённые настройки клиента</translation>
        </message>
        <message>
            <source>The current state of a client</source>
            <translation>Текущее состояние клиента</translation>
        </message>
        <message>
            <source>Faults on purpose, on a development bus</source>
            <translation>Намеренные сбои на шине разработки</translation>
        </message>
        <message>
            <source>Waits until a bus answers, or for a client, a state or a message</source>
            <translation>Ждёт, пока ответит шина, либо клиента, состояния или сообщения</translation>
        </message>
        <message>
            <source>How many seconds to wait</source>
            <translation>Сколько секунд ждать</translation>
        </message>
        <message>
            <source>waiting for "%1"</source>
            <translation>ожидание "%1"</translation>
        </message>
        <message>
            <source>only the query connection of "%1" is there after %2</source>
            <translation>через %2 есть только соединение query у "%1"</translation>
        </message>
        <message>
            <source>only the receiving connection of "%1" is there after %2</source>
            <translation>через %2 есть только соединение для приёма у "%1"</translation>
        </message>
        <message>
            <source>"%1" has not connected within %2%3</source>
            <translation>"%1" не соединился за %2%3</translation>
        </message>
        <message>
            <source>Waits until both connections of a client are there</source>
            <translation>Ждёт, пока появятся оба соединения клиента</translation>
        </message>
        <message>
            <source>no such message came within %1</source>
            <translation>за %1 такого сообщения не пришло</translation>
        </message>
        <message>
            <source>waiting as %1</source>
            <translation>ожидание как %1</translation>
        </message>
        <message>
            <source>Waits for a message, and shows it</source>
            <translation>Ждёт сообщения и показывает его</translation>
        </message>
        <message>
            <source>It comes from this client</source>
            <translation>Оно приходит от этого клиента</translation>
        </message>
        <message>
            <source>It is the command of this name</source>
            <translation>Это команда с этим именем</translation>
        </message>
        <message>
            <source>Its text holds something that matches this regular expression</source>
            <translation>Его текст содержит то, что подходит к этому регулярному выражению</translation>
        </message>
        <message>
            <source>%1 has no state after %2</source>
            <translation>у %1 через %2 нет состояния</translation>
        </message>
        <message>
            <source>the state of %1 did not become that within %2; it is, with type %3: %4</source>
            <translation>состояние %1 не стало таким за %2; сейчас, с типом %3: %4</translation>
        </message>
        <message>
            <source>Waits for a state of a client, and shows it</source>
            <translation>Ждёт состояния клиента и показывает его</translation>
        </message>
        <message>
            <source>The client whose state it is</source>
            <translation>Клиент, чьё это состояние</translation>
        </message>
        <message>
            <source>The state holds something that matches this regular expression</source>
            <translation>Состояние содержит то, что подходит к этому регулярному выражению</translation>
        </message>
        <message>
            <source>The state is exactly this text</source>
            <translation>Состояние в точности этот текст</translation>
        </message>
        <message>
            <source>The state is of this kind, a number from 0 to 127</source>
            <translation>Состояние этого вида, число от 0 до 127</translation>
        </message>
        <message>
            <source>TAKEN</source>
            <comment>the name, so often</comment>
            <translation>ЗАНЯТО</translation>
        </message>
        <message>
            <source>known to the library</source>
            <translation>известно библиотеке</translation>
        </message>
        <message>
            <source>connected</source>
            <translation>соединён</translation>
        </message>
        <message>
            <source>not connected</source>
            <translation>не соединён</translation>
        </message>
        <message>
            <source>the present value</source>
            <translation>нынешнее значение</translation>
        </message>
        <message>
            <source>seen to %1</source>
            <translation>замечено к %1</translation>
        </message>
        <message>
            <source>all subscribers</source>
            <translation>все подписчики</translation>
        </message>
        <message>
            <source>frames from and to this client</source>
            <translation>кадры от этого клиента и к нему</translation>
        </message>
        <message>
            <source>frames on this connection</source>
            <translation>кадры на этом соединении</translation>
        </message>
        <message>
            <source>replies or pushes</source>
            <translation>ответы или доставки</translation>
        </message>
        <message>
            <source>frames of this operation</source>
            <translation>кадры этой операции</translation>
        </message>
        <message>
            <source>messages with this command</source>
            <translation>сообщения с этой командой</translation>
        </message>
        <message>
            <source>only the frame of this number among those that fit</source>
            <translation>только кадр с этим номером среди подходящих</translation>
        </message>
        <message>
            <source>from the frame of this number on</source>
            <translation>начиная с кадра с этим номером</translation>
        </message>
        <message>
            <source>only once</source>
            <translation>только один раз</translation>
        </message>
        <message>
            <source>every time</source>
            <translation>каждый раз</translation>
        </message>
        <message>
            <source>by chance</source>
            <translation>случайно</translation>
        </message>
        <message>
            <source>the chance's seed</source>
            <translation>начальное число случайности</translation>
        </message>
        <message>
            <source>the effect</source>
            <translation>эффект</translation>
        </message>
        <message>
            <source>the bus itself</source>
            <translation>сама шина</translation>
        </message>
        <message>
            <source>complete is for the shells: complete bash|zsh|fish -- WORD...</source>
            <translation>complete — для оболочек: complete bash|zsh|fish -- WORD...</translation>
        </message>
        <message>
            <source>it must begin with a small letter, and letters, digits and single underscores follow</source>
            <translation>он должен начинаться со строчной буквы, а дальше идут буквы, цифры и одиночные подчёркивания</translation>
        </message>
        <message>
            <source>it must not have more than %1 characters</source>
            <translation>в нём должно быть не больше %1 символов</translation>
        </message>
        <message>
            <source>it is a word of C++</source>
            <translation>это слово C++</translation>
        </message>
        <message>
            <source>the library keeps this command to itself</source>
            <translation>библиотека оставляет эту команду себе</translation>
        </message>
        <message>
            <source>the class of the commands has a member of this name</source>
            <translation>у класса команд есть член с таким именем</translation>
        </message>
        <message>
            <source>it is given twice</source>
            <translation>он указан дважды</translation>
        </message>
        <message>
            <source>no command can be called "%1": %2</source>
            <translation>команду нельзя назвать "%1": %2</translation>
        </message>
        <message>
            <source>cannot write %1: %2; nothing was written</source>
            <translation>невозможно записать %1: %2; ничего не записано</translation>
        </message>
        <message>
            <source>%1 is there already and is left as it is</source>
            <translation>%1 уже есть и остаётся как есть</translation>
        </message>
        <message>
            <source>it must begin with a small letter, and small letters and digits follow, with single underscores or hyphens between them</source>
            <translation>оно должно начинаться со строчной буквы, а дальше идут строчные буквы и цифры с одиночными подчёркиваниями или дефисами между ними</translation>
        </message>
        <message>
            <source>it must have 2 to %1 characters</source>
            <translation>в нём должно быть от 2 до %1 символов</translation>
        </message>
        <message>
            <source>names that begin like this belong to the library and its programs</source>
            <translation>имена, которые так начинаются, принадлежат библиотеке и её программам</translation>
        </message>
        <message>
            <source>the build has a target or a folder of this name</source>
            <translation>в сборке есть цель или папка с таким именем</translation>
        </message>
        <message>
            <source>no service can be called "%1": %2</source>
            <translation>службу нельзя назвать "%1": %2</translation>
        </message>
        <message>
            <source>%1 is one of the names that the library knows: tarvex::BUSNAME_%2</source>
            <translation>%1 — одно из имён, известных библиотеке: tarvex::BUSNAME_%2</translation>
        </message>
        <message>
            <source>%1 is a program of this machine; the package of the service replaces no program</source>
            <translation>%1 — программа этой машины; пакет службы не заменяет программ</translation>
        </message>
        <message>
            <source>%1 is a user of this machine; systemd would run the service as this user</source>
            <translation>%1 — пользователь этой машины; systemd запускал бы службу от этого пользователя</translation>
        </message>
        <message>
            <source>Writes a new service, with its test and its package</source>
            <translation>Создаёт новую службу с её тестом и пакетом</translation>
        </message>
        <message>
            <source>The service is written to a folder of its own, which is called NAME. It builds with CMake and runs as it is; its README.md has the first commands. No bus is needed.</source>
            <translation>Служба записывается в отдельную папку с именем NAME. Она собирается с CMake и работает как есть; первые команды — в её README.md. Шина не нужна.</translation>
        </message>
        <message>
            <source>The name of the service on the bus; files and classes are named after it</source>
            <translation>Имя службы на шине; по нему называются файлы и классы</translation>
        </message>
        <message>
            <source>The commands that it carries out, with commas between their names. Without the option they are blink,beep</source>
            <translation>Команды, которые она выполняет, имена через запятую. Без параметра это blink,beep</translation>
        </message>
        <message>
            <source>The folder in which the service's folder is made. Without the option it is the current one</source>
            <translation>Папка, в которой создаётся папка службы. Без параметра — текущая</translation>
        </message>
        <message>
            <source>wrote the service %1 to %2; its README.md has the first commands</source>
            <translation>служба %1 записана в %2; первые команды — в её README.md</translation>
        </message>
        <message>
            <source>your name and mail address are not known; write them for "Your Name" in %1/debian</source>
            <translation>ваше имя и почтовый адрес неизвестны; впишите их вместо "Your Name" в %1/debian</translation>
        </message>
        <message>
            <source>no right to capture: only root and the members of the group %1 may start %2</source>
            <translation>нет права на захват: %2 могут запускать только root и члены группы %1</translation>
        </message>
        <message>
            <source>1 client</source>
            <translation>1 клиент</translation>
        </message>
        <message numerus="yes">
            <source>%n clients</source>
            <translation>
                <numerusform>%n клиент</numerusform>
                <numerusform>%n клиента</numerusform>
                <numerusform>%n клиентов</numerusform>
            </translation>
        </message>
        <message>
            <source>there is no folder for it that belongs to this user alone</source>
            <translation>для него нет папки, которая принадлежит только этому пользователю</translation>
        </message>
        <message>
            <source>it is no regular file</source>
            <translation>это не обычный файл</translation>
        </message>
        <message>
            <source>it is a link that leads nowhere</source>
            <translation>это ссылка, которая никуда не ведёт</translation>
        </message>
        <message>
            <source>it is a link to "%1", whose folder does not exist</source>
            <translation>это ссылка на "%1", а такой папки нет</translation>
        </message>
        <message>
            <source>its folder does not exist</source>
            <translation>папки для него нет</translation>
        </message>
        <message>
            <source>it is a database of another program</source>
            <translation>это база данных другой программы</translation>
        </message>
        <message>
            <source>it was made by another version of this program</source>
            <translation>оно создано другой версией этой программы</translation>
        </message>
        <message>
            <source>it is damaged: %1</source>
            <translation>оно повреждено: %1</translation>
        </message>
        <message>
            <source>it is damaged: tables are missing</source>
            <translation>оно повреждено: не хватает таблиц</translation>
        </message>
        <message>
            <source>the file was removed or replaced</source>
            <translation>файл удалён или заменён</translation>
        </message>
        <message>
            <source>%1 needs gaps from 0 to %2 ms, not %3</source>
            <translation>%1: нужны паузы от 0 до %2 мс, а не %3</translation>
        </message>
        <message>
            <source>probability must be a number from 0 to 1, not %1</source>
            <translation>probability: нужно число от 0 до 1, а не %1</translation>
        </message>
        <message>
            <source>nth and from must be numbers from 1 on, not %1</source>
            <translation>nth и from: нужны числа от 1, а не %1</translation>
        </message>
        <message>
            <source>do=size needs a number of bytes too many (+1) or too few (-1), not 0</source>
            <translation>do=size: нужно число лишних (+1) или недостающих (-1) байтов, а не 0</translation>
        </message>
        <message>
            <source>do=operation needs the name of an operation</source>
            <translation>do=operation: нужно имя операции</translation>
        </message>
        <message>
            <source>do=sizeline needs a text of one line</source>
            <translation>do=sizeline: нужен текст из одной строки</translation>
        </message>
        <message>
            <source>seed needs probability=P, or do=damage: nothing else is left to chance</source>
            <translation>seed требует probability=P или do=damage: больше ничего от случая не зависит</translation>
        </message>
        <message>
            <source>frame=push excludes port=query: pushes are on the receiver port</source>
            <translation>frame=push исключает port=query: доставки идут через порт receiver</translation>
        </message>
        <message>
            <source>do=again applies to pushes only, which are on the receiver port</source>
            <translation>do=again действует только на доставки, а они идут через порт receiver</translation>
        </message>
        <message>
            <source>%1 applies to replies only, not with frame=push</source>
            <translation>%1 действует только на ответы, не с frame=push</translation>
        </message>
        <message>
            <source>a push is always operation=sendMessage, not %1</source>
            <translation>доставка — это всегда operation=sendMessage, а не %1</translation>
        </message>
        <message>
            <source>command applies to operation=sendMessage only, not to %1</source>
            <translation>command действует только на operation=sendMessage, а не на %1</translation>
        </message>
        <message>
            <source>port=receiver has the operations handshake and sendMessage only, not %1</source>
            <translation>у port=receiver есть только операции handshake и sendMessage, но не %1</translation>
        </message>
        <message>
            <source>on port=receiver the bus replies to handshakes only</source>
            <translation>на port=receiver шина отвечает только на рукопожатия</translation>
        </message>
        <message>
            <source>%1 must be %2 or %3, not %4</source>
            <translation>%1: нужно %2 или %3, а не %4</translation>
        </message>
        <message>
            <source>"do=" is missing; possible are %1</source>
            <translation>нет "do="; возможны %1</translation>
        </message>
        <message>
            <source>a double quote is missing at the end of "%1"</source>
            <translation>в конце "%1" нет двойной кавычки</translation>
        </message>
        <message>
            <source>unknown word "%1"; possible are %2</source>
            <translation>неизвестное слово "%1"; возможны %2</translation>
        </message>
        <message>
            <source>"%1=" needs a value</source>
            <translation>"%1=" требует значения</translation>
        </message>
        <message>
            <source>"%1" is given twice</source>
            <translation>"%1" указано дважды</translation>
        </message>
        <message>
            <source>"%1" and "%2" exclude each other: only one of nth, from, once and every is possible</source>
            <translation>"%1" и "%2" исключают друг друга: возможно только одно из nth, from, once и every</translation>
        </message>
        <message>
            <source>operation=%1 is not possible; possible are %2</source>
            <translation>operation=%1 невозможно; возможны %2</translation>
        </message>
        <message>
            <source>do=%1 is not possible; possible are %2</source>
            <translation>do=%1 невозможно; возможны %2</translation>
        </message>
        <message>
            <source>do=%1 is not possible; it must be do=%2%3</source>
            <translation>do=%1 невозможно; нужно do=%2%3</translation>
        </message>
        <message>
            <source>the level of %1 must be %2 or %3, not %4</source>
            <translation>уровень %1: нужно %2 или %3, а не %4</translation>
        </message>
        <message>
            <source>%1 needs a whole number, not %2</source>
            <translation>%1: нужно целое число, а не %2</translation>
        </message>
        <message>
            <source>%1 takes no number, but there is %4</source>
            <translation>%1 не принимает числа, но есть %4</translation>
        </message>
        <message>
            <source>%1 needs a code from %2 to %3, not %4</source>
            <translation>%1: нужен код от %2 до %3, а не %4</translation>
        </message>
        <message>
            <source>%1 needs a time in ms from %2 to %3, not %4</source>
            <translation>%1: нужно время в мс от %2 до %3, а не %4</translation>
        </message>
        <message>
            <source>%1 needs a number of bytes from %2 to %3, not %4</source>
            <translation>%1: нужно число байтов от %2 до %3, а не %4</translation>
        </message>
        <message>
            <source>%1 needs a number of bytes a second from %2 to %3, not %4</source>
            <translation>%1: нужно число байтов в секунду от %2 до %3, а не %4</translation>
        </message>
        <message>
            <source>%1 port %2</source>
            <translation>%1, порт %2</translation>
        </message>
        <message>
            <source>something that is no socket</source>
            <translation>нечто, что не является сокетом</translation>
        </message>
        <message>
            <source>a socket that is not of the Internet's families</source>
            <translation>сокет не из семейств Интернета</translation>
        </message>
        <message>
            <source>a socket of %1 that is not for TCP</source>
            <translation>сокет %1 не для TCP</translation>
        </message>
        <message>
            <source>a TCP socket of %1 that listens</source>
            <translation>слушающий сокет TCP %1</translation>
        </message>
        <message>
            <source>a TCP socket of %1 that does not listen</source>
            <translation>неслушающий сокет TCP %1</translation>
        </message>
        <message>
            <source>systemd has passed %1; the bus takes one listening TCP socket of 127.0.0.1 port %2 and one of port %3, or none</source>
            <translation>systemd передал: %1; шина принимает по одному слушающему сокету TCP 127.0.0.1, порт %2 и порт %3, или ни одного</translation>
        </message>
        <message>
            <source>two sockets of port %1</source>
            <translation>два сокета порта %1</translation>
        </message>
        <message>
            <source>cannot tell which sockets systemd has passed: %1</source>
            <translation>невозможно определить, какие сокеты передал systemd: %1</translation>
        </message>
        <message>
            <source>no socket of port %1</source>
            <translation>нет сокета порта %1</translation>
        </message>
        <message>
            <source>a record cannot be read</source>
            <translation>невозможно прочитать запись</translation>
        </message>
        <message>
            <source>a message cannot be read</source>
            <translation>невозможно прочитать сообщение</translation>
        </message>
    </context>
</TS>
