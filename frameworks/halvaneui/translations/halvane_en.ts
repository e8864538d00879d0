<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>Halvane</name>
    <message>
        <source>TriskVXWorkspace.adjust.title</source>
        <translation>Adjust Trigger</translation>
    </message>
    <message>
        <source>TriskVXWorkspace.adjust.label</source>
        <translation>Choose when “%1” fires:</translation>
    </message>
    <message>
        <source>TriskVXWorkspace.adjust.unnamed</source>
        <translation>this trigger</translation>
    </message>
</context>
</TS>
