// A small RTSP server for tests: a program of its own, so that a test can freeze, kill and restart it.
//
//     vtcv-rtsp-server [--port N] [--rate HZ] [--size WxH] [--login NAME --password TEXT]
//
// It serves numbered frames as Motion-JPEG at rtsp://127.0.0.1:PORT/stream and prints "PORT <number>" once it
// listens. All clients share one pipeline. It ends with the test that started it.

#include "support/frames.h"

#include <gst/app/gstappsrc.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#endif

namespace {

struct Picture
{
    int rate = 25;
    cv::Size size = {320, 240};
    int number = 0;
};

// Each picture carries the next number; appsrc's clock paces them.
void pushFrame(GstElement *source, guint, gpointer data)
{
    auto *picture = static_cast<Picture *>(data);
    const cv::Mat frame = frames::numbered(picture->number % 65536, picture->size);
    const gsize bytes = frame.total() * frame.elemSize();
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
    gst_buffer_fill(buffer, 0, frame.data, bytes);
    GST_BUFFER_PTS(buffer) = gst_util_uint64_scale(picture->number, GST_SECOND, picture->rate);
    GST_BUFFER_DURATION(buffer) = GST_SECOND / picture->rate;
    ++picture->number;
    gst_app_src_push_buffer(GST_APP_SRC(source), buffer);
}

void configureMedia(GstRTSPMediaFactory *, GstRTSPMedia *media, gpointer data)
{
    auto *picture = static_cast<Picture *>(data);
    picture->number = 0;
    GstElement *pipeline = gst_rtsp_media_get_element(media);
    GstElement *source = gst_bin_get_by_name(GST_BIN(pipeline), "frames");
    GstCaps *caps = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "BGR", "width", G_TYPE_INT,
        picture->size.width, "height", G_TYPE_INT, picture->size.height, "framerate", GST_TYPE_FRACTION,
        picture->rate, 1, nullptr);
    g_object_set(source, "caps", caps, "format", GST_FORMAT_TIME, "is-live", FALSE, "max-buffers", guint64(2),
        "block", FALSE, nullptr);
    g_signal_connect(source, "need-data", G_CALLBACK(pushFrame), picture);
    gst_caps_unref(caps);
    gst_object_unref(source);
    gst_object_unref(pipeline);
}

void demandLogin(GstRTSPServer *server, GstRTSPMediaFactory *factory, const char *login, const char *password)
{
    GstRTSPAuth *auth = gst_rtsp_auth_new();
    gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_BASIC);
    GstRTSPToken *token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, "user", nullptr);
    gchar *basic = gst_rtsp_auth_make_basic(login, password);
    gst_rtsp_auth_add_basic(auth, basic, token);
    g_free(basic);
    gst_rtsp_token_unref(token);
    gst_rtsp_server_set_auth(server, auth);
    g_object_unref(auth);
    gst_rtsp_media_factory_add_role(factory, "user", GST_RTSP_PERM_MEDIA_FACTORY_ACCESS, G_TYPE_BOOLEAN, TRUE,
        GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT, G_TYPE_BOOLEAN, TRUE, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
#ifdef Q_OS_LINUX
    // A test that is killed leaves no server behind, not even a frozen one.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.addOptions({{QStringLiteral("port"), QString(), QStringLiteral("N"), QStringLiteral("0")},
        {QStringLiteral("rate"), QString(), QStringLiteral("HZ"), QStringLiteral("25")},
        {QStringLiteral("size"), QString(), QStringLiteral("WxH"), QStringLiteral("320x240")},
        {QStringLiteral("login"), QString(), QStringLiteral("NAME")},
        {QStringLiteral("password"), QString(), QStringLiteral("TEXT")}});
    options.process(application);

    Picture picture;
    picture.rate = options.value(QStringLiteral("rate")).toInt();
    const QStringList size = options.value(QStringLiteral("size")).split(QLatin1Char('x'));
    picture.size = {size.value(0).toInt(), size.value(1).toInt()};

    gst_init(nullptr, nullptr);
    GstRTSPServer *server = gst_rtsp_server_new();
    gst_rtsp_server_set_address(server, "127.0.0.1");
    gst_rtsp_server_set_service(server, options.value(QStringLiteral("port")).toLatin1().constData());

    GstRTSPMediaFactory *factory = gst_rtsp_media_factory_new();
    // jpegenc offers 4:4:4 otherwise, which the payloader refuses.
    gst_rtsp_media_factory_set_launch(factory,
        "( appsrc name=frames ! videoconvert ! video/x-raw,format=I420 ! jpegenc ! rtpjpegpay name=pay0 "
        "pt=26 )");
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    g_signal_connect(factory, "media-configure", G_CALLBACK(configureMedia), &picture);
    if (options.isSet(QStringLiteral("login")))
        demandLogin(server, factory, options.value(QStringLiteral("login")).toUtf8().constData(),
            options.value(QStringLiteral("password")).toUtf8().constData());
    GstRTSPMountPoints *mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, "/stream", factory);
    g_object_unref(mounts);

    if (gst_rtsp_server_attach(server, nullptr) == 0) {
        std::fprintf(stderr, "cannot listen\n");
        return 1;
    }
    std::printf("PORT %d\n", gst_rtsp_server_get_bound_port(server));
    std::fflush(stdout);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
}
