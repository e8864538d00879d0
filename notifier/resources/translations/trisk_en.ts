<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>Localizable</name>
    <message>
        <source>TriskVXNotifyController.name</source>
        <translation>Trisk Notifier</translation>
    </message>
</context>
</TS>
