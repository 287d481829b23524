<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>AnnotationExchange</name>
    <message>
        <source>The field &quot;%1&quot; is missing.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is another image of frame %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Neither a field nor the file name tells the frame.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A category needs an id and a name.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is another category %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The annotation&apos;s image or category is not in the file.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The annotation has neither a box nor points.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A coordinate is no number.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The box has not four numbers.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>This is no list of points.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>This is no JSON text: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file has no lists &quot;images&quot; and &quot;annotations&quot;.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is no kind &quot;%1&quot;.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither true nor false.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The first row does not name the columns frame, kind and name.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>This is no file that can be read as a whole.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file has more than %1 bytes.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancelled.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The line has fewer than 6 fields.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The line in the file of names is no number and a name.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The line is longer than 1 MiB.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A quoted field does not end.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no number.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is no whole number.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is out of range.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The video has no frame %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The rectangle is beyond what 32 bits can hold.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The rectangle has no area.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file holds more than %1 entries.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frame %1 has &quot;%2&quot; already.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The size of the pictures is not known.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The folder cannot be made.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Labels of this video from an earlier export are in the folder: %1 files.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Import annotations</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reading has ended: too much is wrong with this file.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AnnotationInterpolation</name>
    <message>
        <source>Fill in &quot;%1&quot;</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AnnotationNameList</name>
    <message>
        <source>Colour of &quot;%1&quot;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Annotation names</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The selected name is given to what is drawn next. Space shows or hides, Return changes the colour.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Colour...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Change the colour of the selected name</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AnnotationNames</name>
    <message>
        <source>Shown, colour %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hidden, colour %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AnnotationOverlay</name>
    <message>
        <source>Annotations</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectangle &quot;%1&quot; at %2, %3, size %4 by %5</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Point %1 of &quot;%2&quot; at %3, %4</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>point</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>rectangle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>yes</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>%n more</source>
        <comment>lines that do not fit</comment>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
</context>
<context>
    <name>AudioInfo</name>
    <message>
        <source>The microphone cannot be opened</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone has stopped</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone gives no sound</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AudioLevelBar</name>
    <message>
        <source>Sound level</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No sound is measured</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Peak %1 dB, RMS %2 dB</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AudioRecorder</name>
    <message>
        <source>Sound cannot be recorded on this system</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AudioRecorderWidget</name>
    <message>
        <source>Microphone</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone to record from</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sound codec</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sample rate</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The sample rate of the sound in Hz</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AvRecording</name>
    <message>
        <source>The sound is not closed in time and stays in %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone gave no sound</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The sound cannot be joined to the video and stays in %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone is still in use</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The microphone fails: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The video recorder has its sound from elsewhere</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CameraFlip</name>
    <message>
        <source>FlipNone</source>
        <translation>None</translation>
    </message>
    <message>
        <source>FlipX</source>
        <translation>Horizontal</translation>
    </message>
    <message>
        <source>FlipY</source>
        <translation>Vertical</translation>
    </message>
    <message>
        <source>FlipXY</source>
        <translation>Horizontal and vertical</translation>
    </message>
</context>
<context>
    <name>CameraGrabber</name>
    <message>
        <source>Frames of the camera &quot;%1&quot; are lost, since the application does not take them</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CameraHealthWatch</name>
    <message>
        <source>gives no frames</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The device reports error %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>gives frames again, after %1 s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Camera %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CameraHotplugWatch</name>
    <message>
        <source>Camera %1 is gone</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Camera %1 is back</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Camera %1 is new</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CameraOptionsControl</name>
    <message>
        <source>Save image</source>
        <translation>Save image</translation>
    </message>
    <message>
        <source>PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)</source>
        <translation>PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)</translation>
    </message>
    <message>
        <source>The snapshot %1 cannot be written: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not selected</source>
        <translation>Not selected</translation>
    </message>
    <message>
        <source>Camera</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Resolution</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Take a snapshot</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Camera settings</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rotation</source>
        <translation>Rotation</translation>
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
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No camera</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Starting</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Live</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stalled %1</source>
        <comment>time without frames</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Offline %1</source>
        <comment>time without frames</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No frame yet</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Last frame %1 ago</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>%n outage(s), %1 in all</source>
        <translation>
            <numerusform>%n outage, %1 in all</numerusform>
            <numerusform>%n outages, %1 in all</numerusform>
        </translation>
    </message>
    <message>
        <source>Last error: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Camera status</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FFMPEGHelperJob</name>
    <message>
        <source>Cancelled</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg cannot be started: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg has crashed: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg has failed with code %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg has not made the file %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 does not exist</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The list of the files to join cannot be written</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 and %2 are the same file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file %1 is not whole: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FFMpegProcessor</name>
    <message>
        <source>%1 could not be renamed to %2 and stays under its name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg cannot be started: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ffmpeg failed with the arguments given for %1 (%2), H.264 is tried instead</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is not whole (%2), %3 is kept</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FFMpegQueueNotifier</name>
    <message>
        <source>The job for %1 was removed, the video stays in %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FPSWidget</name>
    <message>
        <source>Frame rate; no frames at the moment</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frame rate</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 fps</source>
        <comment>frames per second</comment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FrameList</name>
    <message>
        <source>This is not a list of frames.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Line %1 is not valid in a list of frames.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FrameTimeLogReader</name>
    <message>
        <source>This is no frame time log.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The log is cut off.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The log holds a record that is no time.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The log is damaged.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The log holds another number of frames than its header tells.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The log holds no whole record.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FramedAnnotation</name>
    <message>
        <source>%1 is no file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 cannot be read: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 has a line of more than 16 MiB</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 was not read whole, so it stays as it is</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 cannot be written: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is larger than 1 GiB</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Generic</name>
    <message>
        <source>CameraSettings</source>
        <translation>Camera</translation>
    </message>
    <message>
        <source>Rotation</source>
        <translation>Rotation</translation>
    </message>
    <message>
        <source>Flip</source>
        <translation>Flip</translation>
    </message>
    <message>
        <source>WebCameraSettings</source>
        <translation>Local camera</translation>
    </message>
    <message>
        <source>Exposure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UseCalibration</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>CalibrationFile</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>IPCameraSettings</source>
        <translation>Network camera</translation>
    </message>
    <message>
        <source>Ip</source>
        <translation>Address</translation>
    </message>
    <message>
        <source>Login</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Password</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hz</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>HeatMapAccumulator</name>
    <message>
        <source>Heat</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PropertyListControl</name>
    <message>
        <source>Show the text</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Choose a colour</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Choose %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Choose a file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reset to the default</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reset %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Properties</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Undo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Redo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Undo the last change</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Redo what was undone</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingRecovery</name>
    <message>
        <source>The operation was cancelled.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The new video holds %1 of %2 frames.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The recording %1 holds no frame.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 cannot be written.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file %1 exists already.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The recording %1 is in use.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file %1 cannot be removed.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The sound cannot be joined, it lies beside the video.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingWatch</name>
    <message>
        <source>Disk nearly full: %1 left</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disk of the destination nearly full: %1 left</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Encoder too slow: %1 of %2 frames a second</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recording ended, disk nearly full: %1 left</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Video not written, frames are lost</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SimpleVideoPlayer</name>
    <message>
        <source>Video picture</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>UIHelper</name>
    <message>
        <source>The icon %1 cannot be shown</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VTSettings</name>
    <message>
        <source>its encoding is not supported</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it has a document type</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>an element has too many attributes</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>its document element is not &quot;%1&quot;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is nested too deep</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>line %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it cannot be stored</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is no regular file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is too large</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it would become too large</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is write-protected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no copy of the broken file can be kept beside it</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>cannot be read</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>holds no usable value for %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>cannot be written, changes stay in memory</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no file can have this name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>cannot hold the value of %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>its folder cannot be made</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings file %1 %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoAnnotations</name>
    <message>
        <source>Set %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove the annotations of frame %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No annotations are open</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoPlayerController</name>
    <message>
        <source>Cannot save &quot;%1&quot;: there is no picture format &quot;%2&quot;.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot save &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frame %1 / %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frame %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Captured %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Position in the video</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is no picture to save.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoPlayerWidget</name>
    <message>
        <source>%1 is not a video that can be read.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No video has been chosen.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 cannot be opened.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is no file %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is not a file.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file %1 may not be read.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The file %1 is empty.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No picture can be read from %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Video picture</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Play or pause</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Position in the video</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoRecorder</name>
    <message>
        <source>ffmpeg failed; the recording stays in %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The conversion was cancelled; the recording stays in %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The recording cannot be read as a video; it stays in %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The conversion was taken out of the queue; the recording stays in %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No frame was written.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The temporary video is gone or empty.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The video is not whole: %1 of %2 frames were found.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The finish failed; the recording stays in %1.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Another recording lies at %1; this one stays in %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The recording cannot be copied to %1; it stays in %2.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoRecorderOptimizationProgressWidget</name>
    <message>
        <source>Cancel this video, keep the recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel all videos, keep the recordings</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Preparation of videos</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recorded videos are being prepared; the context menu cancels that</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Preparing video</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VideoRecorderWidget</name>
    <message>
        <source>Hz</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frame rate of the recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recorded time</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The video is being prepared</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frames written: %1, of them repeated: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frames offered: %1, overwritten: %2, refused: %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rate: %1 %3, chosen: %2 %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Longest gap: %1 ms</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Preparing video</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
