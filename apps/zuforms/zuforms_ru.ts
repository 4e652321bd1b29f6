<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>zuforms</name>
    <message>
        <source>A message box with captions of one&#x27;s own; Ctrl+C copies its text.</source>
        <translation>Окно сообщения со своими надписями на кнопках; Ctrl+C копирует его текст.</translation>
    </message>
    <message>
        <source>How far work is, as a cylinder that fills, with the time left.</source>
        <translation>Ход работы: цилиндр наполняется, показано оставшееся время.</translation>
    </message>
    <message>
        <source>A strip along which a wave of colour travels while work goes on.</source>
        <translation>Полоса, по которой бежит волна цвета, пока идёт работа.</translation>
    </message>
    <message>
        <source>Orders</source>
        <translation>Заказы</translation>
    </message>
    <message>
        <source>Order 1042 was changed by somebody else.</source>
        <translation>Заказ 1042 изменён кем-то другим.</translation>
    </message>
    <message>
        <source>Save your text over it?</source>
        <translation>Записать ваш текст поверх?</translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation>&amp;Записать</translation>
    </message>
    <message>
        <source>&amp;Discard</source>
        <translation>&amp;Не записывать</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>&amp;Отмена</translation>
    </message>
    <message>
        <source>S&amp;how the message box</source>
        <translation>По&amp;казать окно сообщения</translation>
    </message>
    <message>
        <source>Question</source>
        <translation>Вопрос</translation>
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
        <source>Long text</source>
        <translation>Длинный текст</translation>
    </message>
    <message>
        <source>The disk is nearly full.</source>
        <translation>Диск почти заполнен.</translation>
    </message>
    <message>
        <source>The file could not be written.</source>
        <translation>Файл записать не удалось.</translation>
    </message>
    <message>
        <source>Done.</source>
        <translation>Готово.</translation>
    </message>
    <message>
        <source>Unknown end</source>
        <translation>Конец неизвестен</translation>
    </message>
    <message>
        <source>Standing</source>
        <translation>Стоячий</translation>
    </message>
    <message>
        <source>Empty</source>
        <translation>Пусто</translation>
    </message>
    <message>
        <source>Half done</source>
        <translation>Половина</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Готово</translation>
    </message>
    <message>
        <source>Loading orders</source>
        <translation>Загрузка заказов</translation>
    </message>
    <message>
        <source>To the right</source>
        <translation>Вправо</translation>
    </message>
    <message>
        <source>To the left</source>
        <translation>Влево</translation>
    </message>
    <message>
        <source>Downwards</source>
        <translation>Вниз</translation>
    </message>
    <message>
        <source>Upwards</source>
        <translation>Вверх</translation>
    </message>
    <message>
        <source>Property</source>
        <translation>Свойство</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Значение</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Свойства</translation>
    </message>
    <message>
        <source>Events</source>
        <translation>События</translation>
    </message>
    <message>
        <source>ZuTools: the controls</source>
        <translation>ZuTools: элементы форм</translation>
    </message>
    <message>
        <source>Panels</source>
        <translation>Панели</translation>
    </message>
    <message>
        <source>Sample</source>
        <translation>Пример</translation>
    </message>
    <message>
        <source>&amp;Properties</source>
        <translation>&amp;Свойства</translation>
    </message>
    <message>
        <source>Sa&amp;mple</source>
        <translation>&amp;Пример</translation>
    </message>
    <message>
        <source>&amp;Events</source>
        <translation>С&amp;обытия</translation>
    </message>
    <message>
        <source>A field for the path of a file or a folder, with earlier paths.</source>
        <translation>Поле для пути к файлу или папке, с прежними путями.</translation>
    </message>
    <message>
        <source>&amp;File to import:</source>
        <translation>&amp;Файл для загрузки:</translation>
    </message>
    <message>
        <source>A file</source>
        <translation>Файл</translation>
    </message>
    <message>
        <source>A folder</source>
        <translation>Папка</translation>
    </message>
    <message>
        <source>Label at the left</source>
        <translation>Подпись слева</translation>
    </message>
    <message>
        <source>Label above</source>
        <translation>Подпись сверху</translation>
    </message>
    <message>
        <source>The path of a log file with macros, a limit of its size, a logger&#x27;s settings.</source>
        <translation>Путь к файлу журнала с макросами, ограничение размера, параметры журнала.</translation>
    </message>
    <message>
        <source>With logging</source>
        <translation>С журналом</translation>
    </message>
    <message>
        <source>Without logging</source>
        <translation>Без журнала</translation>
    </message>
    <message>
        <source>Drop-down</source>
        <translation>Список</translation>
    </message>
    <message>
        <source>A wrong macro</source>
        <translation>Неверный макрос</translation>
    </message>
    <message>
        <source>A folder chosen from a tree below a root; slow folders hold up nothing.</source>
        <translation>Папка, выбранная в дереве ниже корня; медленные папки ничего не задерживают.</translation>
    </message>
    <message>
        <source>C&amp;hoose a folder</source>
        <translation>&amp;Выбрать папку</translation>
    </message>
    <message>
        <source>Whole computer</source>
        <translation>Весь компьютер</translation>
    </message>
    <message>
        <source>Own documents</source>
        <translation>Свои документы</translation>
    </message>
    <message>
        <source>Paths typed</source>
        <translation>Ввод пути</translation>
    </message>
    <message>
        <source>Tree only</source>
        <translation>Только дерево</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Ход работы</translation>
    </message>
    <message>
        <source>Where the service runs</source>
        <translation>Где работает служба</translation>
    </message>
    <message>
        <source>From 1 to 65535</source>
        <translation>От 1 до 65535</translation>
    </message>
    <message>
        <source>Without &lt; and &gt;</source>
        <translation>Без &lt; и &gt;</translation>
    </message>
    <message>
        <source>A service</source>
        <translation>Служба</translation>
    </message>
    <message>
        <source>With faults</source>
        <translation>С ошибками</translation>
    </message>
    <message>
        <source>10,000 rows</source>
        <translation>10 000 строк</translation>
    </message>
    <message>
        <source>Sorted by name</source>
        <translation>По имени</translation>
    </message>
    <message>
        <source>&amp;Ask for values</source>
        <translation>Спросить &amp;значения</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Подключение</translation>
    </message>
    <message>
        <source>Which service do you want?</source>
        <translation>Какая служба нужна?</translation>
    </message>
    <message>
        <source>All pass</source>
        <translation>Всё верно</translation>
    </message>
    <message>
        <source>The input ended; nothing was changed.</source>
        <translation>Ввод закончился; ничего не изменено.</translation>
    </message>
    <message>
        <source>Asks for named values; OK is possible when all of them pass.</source>
        <translation>Спрашивает именованные значения; ОК возможно, когда все они верны.</translation>
    </message>
    <message>
        <source>A grid that edits a parameter list, with checks, a filter and keys for all of it.</source>
        <translation>Таблица для правки списка параметров: проверки, фильтр и клавиши для всего.</translation>
    </message>
    <message>
        <source>The parameters of a crypto engine, with a sign test; secrets are masked.</source>
        <translation>Параметры криптосистемы и проверка подписи; секреты скрыты.</translation>
    </message>
    <message>
        <source>The sample engine CryptCore2x was not built: it needs libsodium. Put the path of another engine into LibName, then ask it.</source>
        <translation>Учебная криптосистема CryptCore2x не собрана: для неё нужна libsodium. Укажите в LibName путь к другой и спросите её.</translation>
    </message>
    <message>
        <source>Ask the engine</source>
        <translation>Спросить криптосистему</translation>
    </message>
    <message>
        <source>For the orders</source>
        <translation>Для заказов</translation>
    </message>
    <message>
        <source>With a private key</source>
        <translation>С закрытым ключом</translation>
    </message>
    <message>
        <source>With a PIN</source>
        <translation>С ПИН-кодом</translation>
    </message>
    <message>
        <source>In its own process</source>
        <translation>В своём процессе</translation>
    </message>
    <message>
        <source>An engine that crashes there</source>
        <translation>Криптосистема падает там</translation>
    </message>
</context>
</TS>
