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
<context>
    <name>zutools::TParamsGrid</name>
    <message>
        <source>The file is larger than 64 MiB</source>
        <translation>Файл больше 64 МиБ</translation>
    </message>
    <message>
        <source>Parameters</source>
        <translation>Параметры</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Фильтр</translation>
    </message>
    <message>
        <source>Actions</source>
        <translation>Действия</translation>
    </message>
    <message>
        <source>&amp;Insert a row</source>
        <translation>&amp;Вставить строку</translation>
    </message>
    <message>
        <source>&amp;Delete rows</source>
        <translation>&amp;Удалить строки</translation>
    </message>
    <message>
        <source>&amp;Edit the value</source>
        <translation>&amp;Изменить значение</translation>
    </message>
    <message>
        <source>&amp;Rename</source>
        <translation>&amp;Переименовать</translation>
    </message>
    <message>
        <source>C&amp;hoose the value…</source>
        <translation>В&amp;ыбрать значение…</translation>
    </message>
    <message>
        <source>Move &amp;up</source>
        <translation>Переместить вв&amp;ерх</translation>
    </message>
    <message>
        <source>Move do&amp;wn</source>
        <translation>Переместить в&amp;низ</translation>
    </message>
    <message>
        <source>U&amp;ndo</source>
        <translation>&amp;Отменить</translation>
    </message>
    <message>
        <source>Do a&amp;gain</source>
        <translation>Повто&amp;рить</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Копировать</translation>
    </message>
    <message>
        <source>Copy as &amp;text</source>
        <translation>Копировать как &amp;текст</translation>
    </message>
    <message>
        <source>&amp;Paste</source>
        <translation>Вст&amp;авить</translation>
    </message>
    <message>
        <source>Select &amp;all</source>
        <translation>Выделить в&amp;сё</translation>
    </message>
    <message>
        <source>&amp;Filter</source>
        <translation>&amp;Фильтр</translation>
    </message>
    <message>
        <source>Sort by na&amp;me</source>
        <translation>Упорядочить по и&amp;мени</translation>
    </message>
    <message>
        <source>Sort by &amp;value</source>
        <translation>Упорядочить по &amp;значению</translation>
    </message>
    <message>
        <source>Order of the &amp;list</source>
        <translation>Поря&amp;док списка</translation>
    </message>
    <message>
        <source>&amp;Keep this order</source>
        <translation>Сохранить &amp;этот порядок</translation>
    </message>
    <message>
        <source>Ne&amp;xt fault</source>
        <translation>Следую&amp;щая ошибка</translation>
    </message>
    <message>
        <source>&amp;Open a file…</source>
        <translation>Открыть фай&amp;л…</translation>
    </message>
    <message>
        <source>Load parameters</source>
        <translation>Открыть параметры</translation>
    </message>
    <message>
        <source>&amp;Save to a file…</source>
        <translation>Сохранить в файл (&amp;Q)…</translation>
    </message>
    <message>
        <source>Save parameters</source>
        <translation>Сохранить параметры</translation>
    </message>
    <message>
        <source>Hot ke&amp;ys…</source>
        <translation>&amp;Горячие клавиши…</translation>
    </message>
    <message>
        <source>Sorted rows do not move: keep this order first</source>
        <translation>Упорядоченные строки не перемещаются: сначала сохраните этот порядок</translation>
    </message>
    <message>
        <source>The clipboard holds too much text for a list</source>
        <translation>В буфере обмена слишком много текста для списка</translation>
    </message>
    <message>
        <source>Too many files are waited for already</source>
        <translation>Уже ожидается слишком много файлов</translation>
    </message>
    <message>
        <source>Row %1 of the list cannot be kept in a file: its name or a line break</source>
        <translation>Строку %1 списка нельзя сохранить в файле: её имя или разрыв строки</translation>
    </message>
    <message>
        <source>A text holds half a character and cannot be kept in a file</source>
        <translation>В тексте половина символа: его нельзя сохранить в файле</translation>
    </message>
    <message>
        <source>rows: %1</source>
        <translation>строк: %1</translation>
    </message>
    <message>
        <source>rows: %1 of %2</source>
        <translation>строк: %1 из %2</translation>
    </message>
    <message>
        <source>with a fault: %1</source>
        <translation>с ошибкой: %1</translation>
    </message>
    <message>
        <source>missing: %1</source>
        <translation>не хватает: %1</translation>
    </message>
</context>
<context>
    <name>zutools::TParamsModel</name>
    <message>
        <source>Yes</source>
        <translation>Да</translation>
    </message>
    <message>
        <source>No</source>
        <translation>Нет</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Имя</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Значение</translation>
    </message>
    <message>
        <source>Hint</source>
        <translation>Подсказка</translation>
    </message>
</context>
<context>
    <name>zutools::THotKeys</name>
    <message>
        <source>Hot keys</source>
        <translation>Горячие клавиши</translation>
    </message>
    <message>
        <source>%1 is the key of &quot;%2&quot; and of &quot;%3&quot;</source>
        <translation>%1 — клавиша действий «%2» и «%3»</translation>
    </message>
    <message>
        <source>%1 is the key of &quot;%2&quot; already: &quot;%3&quot; has none</source>
        <translation>%1 — уже клавиша действия «%2»: у «%3» её нет</translation>
    </message>
</context>
<context>
    <name>zutools::TAskValuesDlg</name>
    <message>
        <source>%1, required</source>
        <translation>%1, обязательно</translation>
    </message>
    <message>
        <source>Choose: %1</source>
        <translation>Выбрать: %1</translation>
    </message>
</context>
<context>
    <name>TParams</name>
    <message>
        <source>A name is wanted</source>
        <translation>Нужно имя</translation>
    </message>
    <message>
        <source>A name cannot hold &quot;=&quot; or a line break</source>
        <translation>В имени не может быть «=» или разрыва строки</translation>
    </message>
    <message>
        <source>Another row has this name; the last value counts</source>
        <translation>Это имя есть в другой строке; действует последнее значение</translation>
    </message>
    <message>
        <source>A value is wanted</source>
        <translation>Нужно значение</translation>
    </message>
    <message>
        <source>A value cannot hold a line break</source>
        <translation>В значении не может быть разрыва строки</translation>
    </message>
    <message>
        <source>A number is wanted, such as 12 or 1.5</source>
        <translation>Нужно число, например 12 или 1.5</translation>
    </message>
    <message>
        <source>The least is %1</source>
        <translation>Не меньше %1</translation>
    </message>
    <message>
        <source>The most is %1</source>
        <translation>Не больше %1</translation>
    </message>
    <message>
        <source>A date is wanted: year-month-day, such as 2026-12-31</source>
        <translation>Нужна дата: год-месяц-день, например 2026-12-31</translation>
    </message>
    <message>
        <source>This is none of the choices</source>
        <translation>Такого варианта нет</translation>
    </message>
    <message>
        <source>A colour is wanted, such as #1f6fd0</source>
        <translation>Нужен цвет, например #1f6fd0</translation>
    </message>
    <message>
        <source>True or False is wanted</source>
        <translation>Нужно True или False</translation>
    </message>
    <message>
        <source>This value is not allowed</source>
        <translation>Это значение не допускается</translation>
    </message>
    <message>
        <source>YYYY-MM-DD</source>
        <translation>ГГГГ-ММ-ДД</translation>
    </message>
</context>
<context>
    <name>zutools::DesktopFiles</name>
    <message>
        <source>%1 is not there</source>
        <translation>%1 не найден</translation>
    </message>
    <message>
        <source>No program here opens %1</source>
        <translation>Нет программы, которая открывает %1</translation>
    </message>
    <message>
        <source>%1 cannot be opened: earlier files still do not answer</source>
        <translation>%1 открыть нельзя: прежние файлы ещё не отвечают</translation>
    </message>
</context>
<context>
    <name>zutools::TCryptoParamsEditor</name>
    <message>
        <source>Show the secret</source>
        <translation>Показать секрет</translation>
    </message>
    <message>
        <source>Parameters of the engine</source>
        <translation>Параметры криптосистемы</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Отменить</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Повторить</translation>
    </message>
    <message>
        <source>&amp;Copy the value</source>
        <translation>&amp;Копировать значение</translation>
    </message>
    <message>
        <source>Asking the engine …</source>
        <translation>Криптосистема отвечает …</translation>
    </message>
    <message>
        <source>Signature: %1 bytes in %2 ms</source>
        <translation>Подпись: %1 байт за %2 мс</translation>
    </message>
    <message>
        <source>No signature: the engine tells a length of %1 bytes of %2</source>
        <translation>Подписи нет: криптосистема сообщает длину %1 байт из %2</translation>
    </message>
    <message>
        <source>The file &quot;%1&quot; cannot be read: %2</source>
        <translation>Файл «%1» не читается: %2</translation>
    </message>
    <message>
        <source>Too many files do not answer</source>
        <translation>Слишком много файлов не отвечает</translation>
    </message>
    <message>
        <source>The engine type becomes %1.</source>
        <translation>Тип криптосистемы станет %1.</translation>
    </message>
    <message>
        <source>Values that change: %1. Unknown names: %2. Lines left out: %3.</source>
        <translation>Изменится значений: %1. Неизвестных имён: %2. Пропущено строк: %3.</translation>
    </message>
    <message>
        <source>Values that change</source>
        <translation>Изменяемые значения</translation>
    </message>
    <message>
        <source>Now</source>
        <translation>Сейчас</translation>
    </message>
    <message>
        <source>Then</source>
        <translation>Станет</translation>
    </message>
</context>
<context>
    <name>zutools::TEngineProbe</name>
    <message>
        <source>The probe &quot;%1&quot; cannot be started</source>
        <translation>Проверочную программу «%1» запустить не удалось</translation>
    </message>
    <message>
        <source>The probe ended without an answer</source>
        <translation>Проверочная программа закончилась без ответа</translation>
    </message>
</context>
</TS>
