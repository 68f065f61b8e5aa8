<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
    <context>
        <name>AbstractStateWrapper</name>
        <message>
            <source>There is no property %1</source>
            <translation>There is no property %1</translation>
        </message>
    </context>
    <context>
        <name>AbstractTarvexCommandsWorker</name>
        <message>
            <source>No such method (%1)</source>
            <translation>Нет такого метода (%1)</translation>
        </message>
        <message>
            <source>Cmd repeating: </source>
            <translation>Cmd repeating: </translation>
        </message>
    </context>
    <context>
        <name>QObject</name>
        <message>
            <source>Message is not tarvex command: </source>
            <translation>Message is not tarvex command: </translation>
        </message>
        <message>
            <source>Incorret request size</source>
            <translation>Incorret request size</translation>
        </message>
        <message>
            <source>Incorrect request data</source>
            <translation>Incorrect request data</translation>
        </message>
        <message>
            <source>Invalid data storage</source>
            <translation>Invalid data storage</translation>
        </message>
        <message>
            <source>Storage access error</source>
            <translation>Storage access error</translation>
        </message>
        <message>
            <source>Unregisterd client</source>
            <translation>Unregisterd client</translation>
        </message>
        <message>
            <source>Unsupported request</source>
            <translation>Unsupported request</translation>
        </message>
        <message>
            <source>There are no settings for client</source>
            <translation>There are no settings for client</translation>
        </message>
        <message>
            <source>There is no any state wrapper</source>
            <translation>There is no any state wrapper</translation>
        </message>
    </context>
    <context>
        <name>tarvex::TarvexMessagesReciever</name>
        <message>
            <source>Unknown request header: %1</source>
            <translation>Unknown request header: %1</translation>
        </message>
        <message>
            <source>Socket is empty</source>
            <translation>Socket is empty</translation>
        </message>
        <message>
            <source>Invalid request size: </source>
            <translation>Invalid request size: </translation>
        </message>
        <message>
            <source>Invalid request size</source>
            <translation>Invalid request size</translation>
        </message>
        <message>
            <source>Invalid request data</source>
            <translation>Invalid request data</translation>
        </message>
        <message>
            <source>Incorrect reply data</source>
            <translation>Incorrect reply data</translation>
        </message>
        <message>
            <source>Message repeating:</source>
            <translation>Message repeating:</translation>
        </message>
    </context>
    <context>
        <name>tarvex::TarvexQueryHandler</name>
        <message>
            <source>Settings list loading error</source>
            <translation>Settings list loading error</translation>
        </message>
        <message>
            <source>Incorrect reply header: </source>
            <translation>Incorrect reply header: </translation>
        </message>
        <message>
            <source>Socket wait for ready read error</source>
            <translation>Socket wait for ready read error</translation>
        </message>
        <message>
            <source>Socket is empty</source>
            <translation>Socket is empty</translation>
        </message>
        <message>
            <source>Incorrect reply data size</source>
            <translation>Incorrect reply data size</translation>
        </message>
    </context>
    <context>
        <name>tarvex::TarvexQueryWorker</name>
        <message>
            <source>Dropped %1 log lines: too many were waiting to be sent</source>
            <translation>Dropped %1 log lines: too many were waiting to be sent</translation>
        </message>
        <message>
            <source>Settings loading error</source>
            <translation>Settings loading error</translation>
        </message>
    </context>
</TS>
