<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>Halvane</name>
    <message>
        <source>TriskVXWorkspace.adjust.title</source>
        <translation>Auslöser anpassen</translation>
    </message>
    <message>
        <source>TriskVXWorkspace.adjust.label</source>
        <translation>Wählen Sie, wann „%1“ ausgelöst wird:</translation>
    </message>
    <message>
        <source>TriskVXWorkspace.adjust.unnamed</source>
        <translation>dieser Auslöser</translation>
    </message>
</context>
</TS>
