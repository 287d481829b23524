<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU">
<context>
    <name>AnnotationExchange</name>
    <message>
        <source>The field &quot;%1&quot; is missing.</source>
        <translation>Нет поля «%1».</translation>
    </message>
    <message>
        <source>There is another image of frame %1.</source>
        <translation>Для кадра %1 уже есть изображение.</translation>
    </message>
    <message>
        <source>Neither a field nor the file name tells the frame.</source>
        <translation>Номер кадра не указан ни в поле, ни в имени файла.</translation>
    </message>
    <message>
        <source>A category needs an id and a name.</source>
        <translation>Категории нужны номер (id) и имя (name).</translation>
    </message>
    <message>
        <source>There is another category %1.</source>
        <translation>Категория %1 уже есть.</translation>
    </message>
    <message>
        <source>The annotation&apos;s image or category is not in the file.</source>
        <translation>Изображения или категории этой разметки нет в файле.</translation>
    </message>
    <message>
        <source>The annotation has neither a box nor points.</source>
        <translation>В разметке нет ни рамки, ни точек.</translation>
    </message>
    <message>
        <source>A coordinate is no number.</source>
        <translation>Координата не является числом.</translation>
    </message>
    <message>
        <source>The box has not four numbers.</source>
        <translation>В рамке должно быть четыре числа.</translation>
    </message>
    <message>
        <source>This is no list of points.</source>
        <translation>Это не список точек.</translation>
    </message>
    <message>
        <source>This is no JSON text: %1</source>
        <translation>Это не текст JSON: %1</translation>
    </message>
    <message>
        <source>The file has no lists &quot;images&quot; and &quot;annotations&quot;.</source>
        <translation>В файле нет списков «images» и «annotations».</translation>
    </message>
    <message>
        <source>There is no kind &quot;%1&quot;.</source>
        <translation>Вида «%1» не существует.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither true nor false.</source>
        <translation>«%1» — не true и не false.</translation>
    </message>
    <message>
        <source>The first row does not name the columns frame, kind and name.</source>
        <translation>В первой строке не названы столбцы frame, kind и name.</translation>
    </message>
    <message>
        <source>This is no file that can be read as a whole.</source>
        <translation>Это не файл, который можно прочитать целиком.</translation>
    </message>
    <message>
        <source>The file has more than %1 bytes.</source>
        <translation>Файл больше %1 байт.</translation>
    </message>
    <message>
        <source>Cancelled.</source>
        <translation>Отменено.</translation>
    </message>
    <message>
        <source>The line has fewer than 6 fields.</source>
        <translation>В строке меньше 6 полей.</translation>
    </message>
    <message>
        <source>The line in the file of names is no number and a name.</source>
        <translation>Строка файла имён не состоит из номера и имени.</translation>
    </message>
    <message>
        <source>The line is longer than 1 MiB.</source>
        <translation>Строка длиннее 1 МиБ.</translation>
    </message>
    <message>
        <source>A quoted field does not end.</source>
        <translation>Поле в кавычках не закрыто.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no number.</source>
        <translation>«%1» — не число.</translation>
    </message>
    <message>
        <source>%1 is no whole number.</source>
        <translation>%1 — не целое число.</translation>
    </message>
    <message>
        <source>%1 is out of range.</source>
        <translation>%1 вне допустимых границ.</translation>
    </message>
    <message>
        <source>The video has no frame %1.</source>
        <translation>В видео нет кадра %1.</translation>
    </message>
    <message>
        <source>The rectangle is beyond what 32 bits can hold.</source>
        <translation>Прямоугольник не помещается в 32 бита.</translation>
    </message>
    <message>
        <source>The rectangle has no area.</source>
        <translation>Прямоугольник не имеет площади.</translation>
    </message>
    <message>
        <source>The file holds more than %1 entries.</source>
        <translation>В файле больше %1 записей.</translation>
    </message>
    <message>
        <source>Frame %1 has &quot;%2&quot; already.</source>
        <translation>В кадре %1 уже есть «%2».</translation>
    </message>
    <message>
        <source>The size of the pictures is not known.</source>
        <translation>Размер кадров неизвестен.</translation>
    </message>
    <message>
        <source>The folder cannot be made.</source>
        <translation>Не удалось создать папку.</translation>
    </message>
    <message>
        <source>Labels of this video from an earlier export are in the folder: %1 files.</source>
        <translation>В папке остались метки этого видео от прошлого экспорта, файлов: %1.</translation>
    </message>
    <message>
        <source>Import annotations</source>
        <translation>Импорт разметки</translation>
    </message>
    <message>
        <source>Reading has ended: too much is wrong with this file.</source>
        <translation>Чтение прервано: в файле слишком много ошибок.</translation>
    </message>
</context>
<context>
    <name>AnnotationInterpolation</name>
    <message>
        <source>Fill in &quot;%1&quot;</source>
        <translation>Заполнить «%1»</translation>
    </message>
</context>
<context>
    <name>AnnotationNameList</name>
    <message>
        <source>Colour of &quot;%1&quot;</source>
        <translation>Цвет имени «%1»</translation>
    </message>
    <message>
        <source>Annotation names</source>
        <translation>Имена разметки</translation>
    </message>
    <message>
        <source>The selected name is given to what is drawn next. Space shows or hides, Return changes the colour.</source>
        <translation>Выбранное имя получит то, что будет нарисовано следующим. Пробел показывает и скрывает, Enter меняет цвет.</translation>
    </message>
    <message>
        <source>New name</source>
        <translation>Новое имя</translation>
    </message>
    <message>
        <source>Colour...</source>
        <translation>Цвет…</translation>
    </message>
    <message>
        <source>Change the colour of the selected name</source>
        <translation>Изменить цвет выбранного имени</translation>
    </message>
</context>
<context>
    <name>AnnotationNames</name>
    <message>
        <source>Shown, colour %1</source>
        <translation>Показано, цвет %1</translation>
    </message>
    <message>
        <source>Hidden, colour %1</source>
        <translation>Скрыто, цвет %1</translation>
    </message>
</context>
<context>
    <name>AnnotationOverlay</name>
    <message>
        <source>Annotations</source>
        <translation>Разметка</translation>
    </message>
    <message>
        <source>Rectangle &quot;%1&quot; at %2, %3, size %4 by %5</source>
        <translation>Прямоугольник «%1», положение %2, %3, размер %4 на %5</translation>
    </message>
    <message>
        <source>Point %1 of &quot;%2&quot; at %3, %4</source>
        <translation>Точка %1 из «%2», положение %3, %4</translation>
    </message>
    <message>
        <source>point</source>
        <translation>точка</translation>
    </message>
    <message>
        <source>rectangle</source>
        <translation>прямоугольник</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1&#xa0;%</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>да</translation>
    </message>
    <message>
        <source>no</source>
        <translation>нет</translation>
    </message>
    <message numerus="yes">
        <source>%n more</source>
        <comment>lines that do not fit</comment>
        <translation>
            <numerusform>ещё %n</numerusform>
            <numerusform>ещё %n</numerusform>
            <numerusform>ещё %n</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>AudioInfo</name>
    <message>
        <source>The microphone cannot be opened</source>
        <translation>Не удалось открыть микрофон</translation>
    </message>
    <message>
        <source>The microphone has stopped</source>
        <translation>Микрофон остановился</translation>
    </message>
    <message>
        <source>The microphone gives no sound</source>
        <translation>Микрофон не даёт звука</translation>
    </message>
</context>
<context>
    <name>AudioLevelBar</name>
    <message>
        <source>Sound level</source>
        <translation>Уровень звука</translation>
    </message>
    <message>
        <source>No sound is measured</source>
        <translation>Звук не измеряется</translation>
    </message>
    <message>
        <source>Peak %1 dB, RMS %2 dB</source>
        <translation>Пик %1 дБ, среднеквадратичный уровень %2 дБ</translation>
    </message>
</context>
<context>
    <name>AudioRecorder</name>
    <message>
        <source>Sound cannot be recorded on this system</source>
        <translation>Запись звука в этой системе невозможна</translation>
    </message>
</context>
<context>
    <name>AudioRecorderWidget</name>
    <message>
        <source>Microphone</source>
        <translation>Микрофон</translation>
    </message>
    <message>
        <source>The microphone to record from</source>
        <translation>Микрофон, с которого ведётся запись</translation>
    </message>
    <message>
        <source>Sound codec</source>
        <translation>Кодек звука</translation>
    </message>
    <message>
        <source>Sample rate</source>
        <translation>Частота дискретизации</translation>
    </message>
    <message>
        <source>The sample rate of the sound in Hz</source>
        <translation>Частота дискретизации звука в Гц</translation>
    </message>
</context>
<context>
    <name>AvRecording</name>
    <message>
        <source>The sound is not closed in time and stays in %1</source>
        <translation>Запись звука не завершена вовремя, звук остаётся в %1</translation>
    </message>
    <message>
        <source>The microphone gave no sound</source>
        <translation>Микрофон не дал звука</translation>
    </message>
    <message>
        <source>The sound cannot be joined to the video and stays in %1</source>
        <translation>Звук не удалось соединить с видео, он остаётся в %1</translation>
    </message>
    <message>
        <source>The microphone is still in use</source>
        <translation>Микрофон ещё занят</translation>
    </message>
    <message>
        <source>The microphone fails: %1</source>
        <translation>Ошибка микрофона: %1</translation>
    </message>
    <message>
        <source>The video recorder has its sound from elsewhere</source>
        <translation>Видеозапись получает звук из другого источника</translation>
    </message>
</context>
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
    <name>FFMPEGHelperJob</name>
    <message>
        <source>Cancelled</source>
        <translation>Отменено</translation>
    </message>
    <message>
        <source>ffmpeg cannot be started: %1</source>
        <translation>Не удалось запустить ffmpeg: %1</translation>
    </message>
    <message>
        <source>ffmpeg has crashed: %1</source>
        <translation>Аварийное завершение ffmpeg: %1</translation>
    </message>
    <message>
        <source>ffmpeg has failed with code %1: %2</source>
        <translation>Ошибка ffmpeg, код %1: %2</translation>
    </message>
    <message>
        <source>ffmpeg has not made the file %1</source>
        <translation>ffmpeg не создал файл %1</translation>
    </message>
    <message>
        <source>%1 does not exist</source>
        <translation>Файл %1 не существует</translation>
    </message>
    <message>
        <source>The list of the files to join cannot be written</source>
        <translation>Не удалось записать список объединяемых файлов</translation>
    </message>
    <message>
        <source>%1 and %2 are the same file</source>
        <translation>%1 и %2 — один и тот же файл</translation>
    </message>
    <message>
        <source>The file %1 is not whole: %2</source>
        <translation>Файл %1 неполон: %2</translation>
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
    <message>
        <source>ffmpeg failed with the arguments given for %1 (%2), H.264 is tried instead</source>
        <translation>ffmpeg не справился с заданными аргументами для %1 (%2), используется H.264</translation>
    </message>
    <message>
        <source>%1 is not whole (%2), %3 is kept</source>
        <translation>Файл %1 неполон (%2), %3 сохранён</translation>
    </message>
</context>
<context>
    <name>FFMpegQueueNotifier</name>
    <message>
        <source>The job for %1 was removed, the video stays in %2</source>
        <translation>Задание для %1 удалено, видео остаётся в %2</translation>
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
    <name>FrameList</name>
    <message>
        <source>This is not a list of frames.</source>
        <translation>Это не список кадров.</translation>
    </message>
    <message>
        <source>Line %1 is not valid in a list of frames.</source>
        <translation>Строка %1 не подходит для списка кадров.</translation>
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
    <message>
        <source>%1 is larger than 1 GiB</source>
        <translation>Файл %1 больше 1 ГиБ</translation>
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
    <message>
        <source>Hz</source>
        <translation>Гц</translation>
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
    <name>RecordingRecovery</name>
    <message>
        <source>The operation was cancelled.</source>
        <translation>Операция отменена.</translation>
    </message>
    <message>
        <source>The new video holds %1 of %2 frames.</source>
        <translation>В новом видео %1 из %2 кадров.</translation>
    </message>
    <message>
        <source>The recording %1 holds no frame.</source>
        <translation>В записи %1 нет ни одного кадра.</translation>
    </message>
    <message>
        <source>%1 cannot be written.</source>
        <translation>Не удалось записать %1.</translation>
    </message>
    <message>
        <source>The file %1 exists already.</source>
        <translation>Файл %1 уже существует.</translation>
    </message>
    <message>
        <source>The recording %1 is in use.</source>
        <translation>Запись %1 используется.</translation>
    </message>
    <message>
        <source>The file %1 cannot be removed.</source>
        <translation>Не удалось удалить файл %1.</translation>
    </message>
    <message>
        <source>The sound cannot be joined, it lies beside the video.</source>
        <translation>Не удалось добавить звук в видео, он лежит рядом с ним.</translation>
    </message>
</context>
<context>
    <name>RecordingWatch</name>
    <message>
        <source>Disk nearly full: %1 left</source>
        <translation>Диск почти заполнен: осталось %1</translation>
    </message>
    <message>
        <source>Disk of the destination nearly full: %1 left</source>
        <translation>Диск назначения почти заполнен: осталось %1</translation>
    </message>
    <message>
        <source>Encoder too slow: %1 of %2 frames a second</source>
        <translation>Кодировщик не успевает: %1 из %2 кадров в секунду</translation>
    </message>
    <message>
        <source>Recording ended, disk nearly full: %1 left</source>
        <translation>Запись остановлена, диск почти заполнен: осталось %1</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 с</translation>
    </message>
    <message>
        <source>Video not written, frames are lost</source>
        <translation>Видео не записывается, кадры теряются</translation>
    </message>
</context>
<context>
    <name>SimpleVideoPlayer</name>
    <message>
        <source>Video picture</source>
        <translation>Кадр видео</translation>
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
    <name>VideoPlayerController</name>
    <message>
        <source>Cannot save &quot;%1&quot;: there is no picture format &quot;%2&quot;.</source>
        <translation>Не удалось сохранить «%1»: формата изображений «%2» нет.</translation>
    </message>
    <message>
        <source>Cannot save &quot;%1&quot;: %2</source>
        <translation>Не удалось сохранить «%1»: %2</translation>
    </message>
    <message>
        <source>Frame %1 / %2</source>
        <translation>Кадр %1 / %2</translation>
    </message>
    <message>
        <source>Frame %1</source>
        <translation>Кадр %1</translation>
    </message>
    <message>
        <source>Captured %1</source>
        <translation>Снято %1</translation>
    </message>
    <message>
        <source>Position in the video</source>
        <translation>Позиция в видео</translation>
    </message>
    <message>
        <source>There is no picture to save.</source>
        <translation>Нет изображения для сохранения.</translation>
    </message>
</context>
<context>
    <name>VideoPlayerWidget</name>
    <message>
        <source>%1 is not a video that can be read.</source>
        <translation>%1: это не видео, которое можно прочитать.</translation>
    </message>
    <message>
        <source>No video has been chosen.</source>
        <translation>Видео не выбрано.</translation>
    </message>
    <message>
        <source>%1 cannot be opened.</source>
        <translation>%1: открыть не удаётся.</translation>
    </message>
    <message>
        <source>There is no file %1.</source>
        <translation>Файла %1 нет.</translation>
    </message>
    <message>
        <source>%1 is not a file.</source>
        <translation>%1 — не файл.</translation>
    </message>
    <message>
        <source>The file %1 may not be read.</source>
        <translation>Нет прав на чтение файла %1.</translation>
    </message>
    <message>
        <source>The file %1 is empty.</source>
        <translation>Файл %1 пуст.</translation>
    </message>
    <message>
        <source>No picture can be read from %1.</source>
        <translation>Из %1 не удаётся прочитать ни одного кадра.</translation>
    </message>
    <message>
        <source>Video picture</source>
        <translation>Кадр видео</translation>
    </message>
    <message>
        <source>Play or pause</source>
        <translation>Воспроизведение или пауза</translation>
    </message>
    <message>
        <source>Position in the video</source>
        <translation>Позиция в видео</translation>
    </message>
</context>
<context>
    <name>VideoRecorder</name>
    <message>
        <source>ffmpeg failed; the recording stays in %1.</source>
        <translation>Ошибка ffmpeg; запись остаётся в %1.</translation>
    </message>
    <message>
        <source>The conversion was cancelled; the recording stays in %1.</source>
        <translation>Преобразование отменено; запись остаётся в %1.</translation>
    </message>
    <message>
        <source>The recording cannot be read as a video; it stays in %1.</source>
        <translation>Запись не читается как видео; она остаётся в %1.</translation>
    </message>
    <message>
        <source>The conversion was taken out of the queue; the recording stays in %1.</source>
        <translation>Преобразование удалено из очереди; запись остаётся в %1.</translation>
    </message>
    <message>
        <source>No frame was written.</source>
        <translation>Ни один кадр не записан.</translation>
    </message>
    <message>
        <source>The temporary video is gone or empty.</source>
        <translation>Временное видео исчезло или пусто.</translation>
    </message>
    <message>
        <source>The video is not whole: %1 of %2 frames were found.</source>
        <translation>Видео неполное: найдено %1 из %2 кадров.</translation>
    </message>
    <message>
        <source>The finish failed; the recording stays in %1.</source>
        <translation>Запись не удалось завершить; она остаётся в %1.</translation>
    </message>
    <message>
        <source>Another recording lies at %1; this one stays in %2.</source>
        <translation>В %1 лежит другая запись; эта остаётся в %2.</translation>
    </message>
    <message>
        <source>The recording cannot be copied to %1; it stays in %2.</source>
        <translation>Запись не удалось скопировать в %1; она остаётся в %2.</translation>
    </message>
</context>
<context>
    <name>VideoRecorderOptimizationProgressWidget</name>
    <message>
        <source>Cancel this video, keep the recording</source>
        <translation>Отменить это видео, запись сохранить</translation>
    </message>
    <message>
        <source>Cancel all videos, keep the recordings</source>
        <translation>Отменить все видео, записи сохранить</translation>
    </message>
    <message>
        <source>Preparation of videos</source>
        <translation>Обработка видео</translation>
    </message>
    <message>
        <source>Recorded videos are being prepared; the context menu cancels that</source>
        <translation>Идёт обработка записанных видео; отменить её можно в контекстном меню</translation>
    </message>
    <message>
        <source>Preparing video</source>
        <translation>Подготовка видео</translation>
    </message>
</context>
<context>
    <name>VideoRecorderWidget</name>
    <message>
        <source>Hz</source>
        <translation>Гц</translation>
    </message>
    <message>
        <source>Start recording</source>
        <translation>Начать запись</translation>
    </message>
    <message>
        <source>Frame rate of the recording</source>
        <translation>Частота кадров записи</translation>
    </message>
    <message>
        <source>Recorded time</source>
        <translation>Время записи</translation>
    </message>
    <message>
        <source>The video is being prepared</source>
        <translation>Идёт обработка видео</translation>
    </message>
    <message>
        <source>Stop recording</source>
        <translation>Остановить запись</translation>
    </message>
    <message>
        <source>Frames written: %1, of them repeated: %2</source>
        <translation>Записано кадров: %1, из них повторно: %2</translation>
    </message>
    <message>
        <source>Frames offered: %1, overwritten: %2, refused: %3</source>
        <translation>Поступило кадров: %1, заменено новыми: %2, отклонено: %3</translation>
    </message>
    <message>
        <source>Rate: %1 %3, chosen: %2 %3</source>
        <translation>Частота: %1 %3, выбрано: %2 %3</translation>
    </message>
    <message>
        <source>Longest gap: %1 ms</source>
        <translation>Наибольший промежуток: %1 мс</translation>
    </message>
    <message>
        <source>Preparing video</source>
        <translation>Подготовка видео</translation>
    </message>
</context>
</TS>
