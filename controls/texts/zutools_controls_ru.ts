<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>zutools::TZUDlg</name>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Копировать</translation>
    </message>
</context>
<context>
    <name>TZUProgress</name>
    <message>
        <source>a few seconds left</source>
        <translation>осталось несколько секунд</translation>
    </message>
    <message>
        <source>about %1 s left</source>
        <translation>осталось около %1 с</translation>
    </message>
    <message>
        <source>about %1 min left</source>
        <translation>осталось около %1 мин</translation>
    </message>
    <message>
        <source>about %1 h left</source>
        <translation>осталось около %1 ч</translation>
    </message>
</context>
</TS>
