<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
    <context>
        <name>greeting</name>
        <message>
            <source>Good day</source>
            <translation>Добрый день</translation>
        </message>
    </context>
</TS>
