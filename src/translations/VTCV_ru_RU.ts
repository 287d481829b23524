<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU">
<context>
    <name>CameraFlip</name>
    <message>
        <source>FlipNone</source>
        <translation>Без отражения</translation>
    </message>
    <message>
        <source>FlipX</source>
        <translation>По горизонтали</translation>
    </message>
    <message>
        <source>FlipY</source>
        <translation>По вертикали</translation>
    </message>
    <message>
        <source>FlipXY</source>
        <translation>По горизонтали и вертикали</translation>
    </message>
</context>
<context>
    <name>CameraGrabber</name>
    <message>
        <source>Frames of the camera &quot;%1&quot; are lost, since the application does not take them</source>
        <translation>Кадры камеры «%1» теряются: приложение их не забирает</translation>
    </message>
</context>
<context>
    <name>CameraHealthWatch</name>
    <message>
        <source>gives no frames</source>
        <translation>нет кадров</translation>
    </message>
    <message>
        <source>The device reports error %1</source>
        <translation>Устройство сообщает об ошибке %1</translation>
    </message>
    <message>
        <source>gives frames again, after %1 s</source>
        <translation>кадры снова поступают, перерыв %1 с</translation>
    </message>
    <message>
        <source>Camera %1: %2</source>
        <translation>Камера %1: %2</translation>
    </message>
</context>
<context>
    <name>CameraHotplugWatch</name>
    <message>
        <source>Camera %1 is gone</source>
        <translation>Камера %1 отключена</translation>
    </message>
    <message>
        <source>Camera %1 is back</source>
        <translation>Камера %1 снова подключена</translation>
    </message>
    <message>
        <source>Camera %1 is new</source>
        <translation>Подключена новая камера %1</translation>
    </message>
</context>
<context>
    <name>CameraOptionsControl</name>
    <message>
        <source>Save image</source>
        <translation>Сохранить изображение</translation>
    </message>
    <message>
        <source>PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)</source>
        <translation>PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)</translation>
    </message>
    <message>
        <source>The snapshot %1 cannot be written: %2</source>
        <translation>Не удалось записать снимок %1: %2</translation>
    </message>
    <message>
        <source>Not selected</source>
        <translation>Не выбрано</translation>
    </message>
    <message>
        <source>Camera</source>
        <translation>Камера</translation>
    </message>
    <message>
        <source>Resolution</source>
        <translation>Разрешение</translation>
    </message>
    <message>
        <source>Take a snapshot</source>
        <translation>Сделать снимок</translation>
    </message>
    <message>
        <source>Camera settings</source>
        <translation>Настройки камеры</translation>
    </message>
    <message>
        <source>Rotation</source>
        <translation>Поворот</translation>
    </message>
</context>
<context>
    <name>CameraRotation</name>
    <message>
        <source>Rotate0</source>
        <translation>0°</translation>
    </message>
    <message>
        <source>Rotate90</source>
        <translation>90°</translation>
    </message>
    <message>
        <source>Rotate180</source>
        <translation>180°</translation>
    </message>
    <message>
        <source>Rotate270</source>
        <translation>270°</translation>
    </message>
</context>
<context>
    <name>CameraStatusWidget</name>
    <message>
        <source>Off</source>
        <translation>Выключена</translation>
    </message>
    <message>
        <source>No camera</source>
        <translation>Нет камеры</translation>
    </message>
    <message>
        <source>Starting</source>
        <translation>Запускается</translation>
    </message>
    <message>
        <source>Live</source>
        <translation>Работает</translation>
    </message>
    <message>
        <source>Stalled %1</source>
        <comment>time without frames</comment>
        <translation>Нет кадров %1</translation>
    </message>
    <message>
        <source>Offline %1</source>
        <comment>time without frames</comment>
        <translation>Нет связи %1</translation>
    </message>
    <message>
        <source>No frame yet</source>
        <translation>Кадров ещё не было</translation>
    </message>
    <message>
        <source>Last frame %1 ago</source>
        <translation>Последний кадр %1 назад</translation>
    </message>
    <message numerus="yes">
        <source>%n outage(s), %1 in all</source>
        <translation>
            <numerusform>%n перерыв, всего %1</numerusform>
            <numerusform>%n перерыва, всего %1</numerusform>
            <numerusform>%n перерывов, всего %1</numerusform>
        </translation>
    </message>
    <message>
        <source>Last error: %1</source>
        <translation>Последняя ошибка: %1</translation>
    </message>
    <message>
        <source>Camera status</source>
        <translation>Состояние камеры</translation>
    </message>
</context>
<context>
    <name>FFMpegProcessor</name>
    <message>
        <source>%1 could not be renamed to %2 and stays under its name</source>
        <translation>Не удалось переименовать %1 в %2, прежнее имя сохранено</translation>
    </message>
    <message>
        <source>ffmpeg cannot be started: %1</source>
        <translation>Не удалось запустить ffmpeg: %1</translation>
    </message>
</context>
<context>
    <name>FPSWidget</name>
    <message>
        <source>Frame rate; no frames at the moment</source>
        <translation>Частота кадров; сейчас кадров нет</translation>
    </message>
    <message>
        <source>Frame rate</source>
        <translation>Частота кадров</translation>
    </message>
    <message>
        <source>%1 fps</source>
        <comment>frames per second</comment>
        <translation>%1 кадр/с</translation>
    </message>
</context>
<context>
    <name>FrameTimeLogReader</name>
    <message>
        <source>This is no frame time log.</source>
        <translation>Это не журнал времени кадров.</translation>
    </message>
    <message>
        <source>The log is cut off.</source>
        <translation>Журнал обрывается.</translation>
    </message>
    <message>
        <source>The log holds a record that is no time.</source>
        <translation>В журнале есть запись, которая не является временем.</translation>
    </message>
    <message>
        <source>The log is damaged.</source>
        <translation>Журнал повреждён.</translation>
    </message>
    <message>
        <source>The log holds another number of frames than its header tells.</source>
        <translation>Число кадров в журнале не совпадает с указанным в заголовке.</translation>
    </message>
    <message>
        <source>The log holds no whole record.</source>
        <translation>В журнале нет ни одной полной записи.</translation>
    </message>
</context>
<context>
    <name>FramedAnnotation</name>
    <message>
        <source>%1 is no file</source>
        <translation>%1 не является файлом</translation>
    </message>
    <message>
        <source>%1 cannot be read: %2</source>
        <translation>Не удалось прочитать %1: %2</translation>
    </message>
    <message>
        <source>%1 has a line of more than 16 MiB</source>
        <translation>В файле %1 есть строка длиннее 16 МиБ</translation>
    </message>
    <message>
        <source>%1 was not read whole, so it stays as it is</source>
        <translation>Файл %1 прочитан не полностью, поэтому он не будет изменён</translation>
    </message>
    <message>
        <source>%1 cannot be written: %2</source>
        <translation>Не удалось записать %1: %2</translation>
    </message>
</context>
<context>
    <name>Generic</name>
    <message>
        <source>CameraSettings</source>
        <translation>Камера</translation>
    </message>
    <message>
        <source>Rotation</source>
        <translation>Поворот</translation>
    </message>
    <message>
        <source>Flip</source>
        <translation>Отражение</translation>
    </message>
    <message>
        <source>WebCameraSettings</source>
        <translation>Локальная камера</translation>
    </message>
    <message>
        <source>Exposure</source>
        <translation>Экспозиция</translation>
    </message>
    <message>
        <source>UseCalibration</source>
        <translation>Использовать калибровку</translation>
    </message>
    <message>
        <source>CalibrationFile</source>
        <translation>Файл калибровки</translation>
    </message>
    <message>
        <source>IPCameraSettings</source>
        <translation>Сетевая камера</translation>
    </message>
    <message>
        <source>Ip</source>
        <translation>Адрес</translation>
    </message>
    <message>
        <source>Login</source>
        <translation>Имя пользователя</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Пароль</translation>
    </message>
</context>
<context>
    <name>HeatMapAccumulator</name>
    <message>
        <source>Heat</source>
        <translation>Интенсивность</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
</context>
<context>
    <name>PropertyListControl</name>
    <message>
        <source>Show the text</source>
        <translation>Показать текст</translation>
    </message>
    <message>
        <source>Show %1</source>
        <translation>Показать: %1</translation>
    </message>
    <message>
        <source>Choose a colour</source>
        <translation>Выбрать цвет</translation>
    </message>
    <message>
        <source>Choose %1</source>
        <translation>Выбрать: %1</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>Выбрать папку</translation>
    </message>
    <message>
        <source>Choose a file</source>
        <translation>Выбрать файл</translation>
    </message>
    <message>
        <source>Reset to the default</source>
        <translation>Вернуть значение по умолчанию</translation>
    </message>
    <message>
        <source>Reset %1</source>
        <translation>Сбросить: %1</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Свойства</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Отменить</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Повторить</translation>
    </message>
    <message>
        <source>Undo the last change</source>
        <translation>Отменить последнее изменение</translation>
    </message>
    <message>
        <source>Redo what was undone</source>
        <translation>Повторить отменённое</translation>
    </message>
</context>
<context>
    <name>UIHelper</name>
    <message>
        <source>The icon %1 cannot be shown</source>
        <translation>Не удалось показать значок %1</translation>
    </message>
</context>
<context>
    <name>VTSettings</name>
    <message>
        <source>its encoding is not supported</source>
        <translation>его кодировка не поддерживается</translation>
    </message>
    <message>
        <source>it has a document type</source>
        <translation>в нём объявлен тип документа</translation>
    </message>
    <message>
        <source>an element has too many attributes</source>
        <translation>у элемента слишком много атрибутов</translation>
    </message>
    <message>
        <source>its document element is not &quot;%1&quot;</source>
        <translation>его корневой элемент не «%1»</translation>
    </message>
    <message>
        <source>it is nested too deep</source>
        <translation>слишком глубокая вложенность</translation>
    </message>
    <message>
        <source>line %1: %2</source>
        <translation>строка %1: %2</translation>
    </message>
    <message>
        <source>it cannot be stored</source>
        <translation>сохранить его не удалось</translation>
    </message>
    <message>
        <source>it is no regular file</source>
        <translation>это не обычный файл</translation>
    </message>
    <message>
        <source>it is too large</source>
        <translation>он слишком велик</translation>
    </message>
    <message>
        <source>it would become too large</source>
        <translation>он стал бы слишком большим</translation>
    </message>
    <message>
        <source>it is write-protected</source>
        <translation>он защищён от записи</translation>
    </message>
    <message>
        <source>no copy of the broken file can be kept beside it</source>
        <translation>рядом не удалось сохранить копию повреждённого файла</translation>
    </message>
    <message>
        <source>cannot be read</source>
        <translation>не читается</translation>
    </message>
    <message>
        <source>holds no usable value for %1</source>
        <translation>не содержит пригодного значения для %1</translation>
    </message>
    <message>
        <source>cannot be written, changes stay in memory</source>
        <translation>не записывается, изменения остаются в памяти</translation>
    </message>
    <message>
        <source>no file can have this name</source>
        <translation>файла с таким именем быть не может</translation>
    </message>
    <message>
        <source>cannot hold the value of %1</source>
        <translation>не может хранить значение %1</translation>
    </message>
    <message>
        <source>its folder cannot be made</source>
        <translation>его папку не удалось создать</translation>
    </message>
    <message>
        <source>Settings file %1 %2</source>
        <translation>Файл настроек %1 %2</translation>
    </message>
</context>
<context>
    <name>VideoAnnotations</name>
    <message>
        <source>Set %1</source>
        <translation>Задать «%1»</translation>
    </message>
    <message>
        <source>Remove %1</source>
        <translation>Удалить «%1»</translation>
    </message>
    <message>
        <source>Remove the annotations of frame %1</source>
        <translation>Удалить разметку кадра %1</translation>
    </message>
    <message>
        <source>No annotations are open</source>
        <translation>Разметка не открыта</translation>
    </message>
</context>
<context>
    <name>VideoRecorderWidget</name>
    <message>
        <source>Hz</source>
        <translation>Гц</translation>
    </message>
</context>
</TS>
