<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>zutools::TZUDlg</name>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Копировать</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Предупреждение</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Ошибка</translation>
    </message>
    <message>
        <source>Information</source>
        <translation>Сведения</translation>
    </message>
    <message>
        <source>Question</source>
        <translation>Вопрос</translation>
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
<context>
    <name>zutools::TFolderTree</name>
    <message>
        <source>%1 (reading …)</source>
        <translation>%1 (чтение …)</translation>
    </message>
    <message>
        <source>Templates</source>
        <translation>Шаблоны</translation>
    </message>
    <message>
        <source>Startup</source>
        <translation>Автозагрузка</translation>
    </message>
    <message>
        <source>Folders</source>
        <translation>Папки</translation>
    </message>
    <message>
        <source>Reading folders</source>
        <translation>Чтение папок</translation>
    </message>
    <message>
        <source>Path</source>
        <translation>Путь</translation>
    </message>
    <message>
        <source>Show &amp;hidden folders</source>
        <translation>Показать &amp;скрытые папки</translation>
    </message>
    <message>
        <source>&amp;New folder …</source>
        <translation>&amp;Новая папка …</translation>
    </message>
    <message>
        <source>New folder</source>
        <translation>Новая папка</translation>
    </message>
    <message>
        <source>Name of the folder in %1:</source>
        <translation>Имя папки в %1:</translation>
    </message>
    <message>
        <source>There is no folder %1.</source>
        <translation>Папки %1 нет.</translation>
    </message>
    <message>
        <source>The folder %1 could not be made in %2.</source>
        <translation>Папку %1 не удалось создать в %2.</translation>
    </message>
</context>
<context>
    <name>zutools::TZUFPChooserEdit</name>
    <message>
        <source>%1 is not there now</source>
        <translation>%1: сейчас нет</translation>
    </message>
</context>
<context>
    <name>zutools::TZUFPChooser</name>
    <message>
        <source>Choose</source>
        <translation>Выбрать</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>Выбрать папку</translation>
    </message>
    <message>
        <source>Choose a file</source>
        <translation>Выбрать файл</translation>
    </message>
</context>
<context>
    <name>zutools::TZUFilePathChoser</name>
    <message>
        <source>Path of the file</source>
        <translation>Путь к файлу</translation>
    </message>
    <message>
        <source>Choose the file</source>
        <translation>Выбрать файл</translation>
    </message>
    <message>
        <source>Unit of the size</source>
        <translation>Единица размера</translation>
    </message>
    <message>
        <source>Character %1: the macro &quot;%2&quot; has no &quot;%&quot; at its end</source>
        <translation>Символ %1: у макроса «%2» нет знака «%» в конце</translation>
    </message>
    <message>
        <source>Character %1: no macro is called &quot;%2&quot;</source>
        <translation>Символ %1: макроса «%2» нет</translation>
    </message>
</context>
</TS>
