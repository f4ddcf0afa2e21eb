#include "sim/rtsp/CameraAuth.h"

#include <map>

#include "platform/Mutex.h"

namespace {

using vms::sim::Camera;

GstRTSPToken* NewViewerToken() {
    return gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING,
                              vms::sim::kViewerRole, nullptr);
}

// The library's own login object, one for each camera, made when the camera is first asked.
class Logins {
public:
    Logins(const vms::sim::CameraDirectory& directory, bool basic)
        : directory_(directory), basic_(basic) {}
    ~Logins() {
        for (const auto& [camera, login] : logins_)
            g_object_unref(login);
    }
    Logins(const Logins&) = delete;
    Logins& operator=(const Logins&) = delete;

    Camera* CameraOf(const GstRTSPContext* context) const {
        const char* path = context->uri ? context->uri->abspath : nullptr;
        return directory_.Find(path ? path : "").camera;
    }

    GstRTSPAuth* For(const Camera& camera) VMS_EXCLUDES(mutex_) {
        vms::MutexLock lock(mutex_);
        GstRTSPAuth*& login = logins_[&camera];
        if (login == nullptr)
            login = NewLogin(camera);
        return login;
    }

private:
    GstRTSPAuth* NewLogin(const Camera& camera) const {
        GstRTSPAuth* login = gst_rtsp_auth_new();
        const std::string& user = camera.config().user;
        const std::string& password = camera.realPassword();
        GstRTSPToken* token = NewViewerToken();
        gst_rtsp_auth_set_realm(login, "IP Camera");
        gst_rtsp_auth_set_supported_methods(login, Methods());
        gst_rtsp_auth_add_digest(login, user.c_str(), password.c_str(), token);
        if (basic_)
            AddBasic(login, user, password, token);
        gst_rtsp_token_unref(token);
        return login;
    }

    GstRTSPAuthMethod Methods() const {
        // The values are bits, though the type is a plain enumeration.
        const int extra = basic_ ? GST_RTSP_AUTH_BASIC : 0;
        return static_cast<GstRTSPAuthMethod>(GST_RTSP_AUTH_DIGEST | extra);
    }

    static void AddBasic(GstRTSPAuth* login, const std::string& user, const std::string& password,
                         GstRTSPToken* token) {
        gchar* secret = gst_rtsp_auth_make_basic(user.c_str(), password.c_str());
        gst_rtsp_auth_add_basic(login, secret, token);
        g_free(secret);
    }

    const vms::sim::CameraDirectory& directory_;
    const bool basic_;
    vms::Mutex mutex_;
    std::map<const Camera*, GstRTSPAuth*> logins_ VMS_GUARDED_BY(mutex_);
};

// GObject builds the class from plain C structures and functions.
struct CameraAuth {
    GstRTSPAuth parent;
    Logins* logins;
};

struct CameraAuthClass {
    GstRTSPAuthClass parent;
};

GType camera_auth_get_type();

G_DEFINE_TYPE(CameraAuth, camera_auth, GST_TYPE_RTSP_AUTH)

gboolean Authenticate(GstRTSPAuth* auth, GstRTSPContext* context) {
    Logins& logins = *reinterpret_cast<CameraAuth*>(auth)->logins;
    Camera* camera = logins.CameraOf(context);
    if (camera == nullptr || !camera->NeedsLogin()) {
        // An unknown path needs no login to be refused as unknown.
        context->token = NewViewerToken();
        return TRUE;
    }
    GstRTSPAuth* login = logins.For(*camera);
    const gboolean result = GST_RTSP_AUTH_GET_CLASS(login)->authenticate(login, context);
    if (context->token == nullptr)
        camera->stats().CountRtsp("unauthorized");
    return result;
}

void WriteChallenge(GstRTSPAuth* auth, GstRTSPContext* context) {
    Logins& logins = *reinterpret_cast<CameraAuth*>(auth)->logins;
    const Camera* camera = logins.CameraOf(context);
    if (camera == nullptr)
        return;
    GstRTSPAuth* login = logins.For(*camera);
    GST_RTSP_AUTH_GET_CLASS(login)->generate_authenticate_header(login, context);
}

void Finalize(GObject* object) {
    delete reinterpret_cast<CameraAuth*>(object)->logins;
    G_OBJECT_CLASS(camera_auth_parent_class)->finalize(object);
}

void camera_auth_class_init(CameraAuthClass* type) {
    type->parent.authenticate = Authenticate;
    type->parent.generate_authenticate_header = WriteChallenge;
    G_OBJECT_CLASS(type)->finalize = Finalize;
}

void camera_auth_init(CameraAuth* self) {
    self->logins = nullptr;
}

}  // namespace

namespace vms::sim {

GstRTSPAuth* NewCameraAuth(const CameraDirectory& directory, bool basic) {
    auto* auth = static_cast<CameraAuth*>(g_object_new(camera_auth_get_type(), nullptr));
    auth->logins = new Logins(directory, basic);
    return &auth->parent;
}

}  // namespace vms::sim
