#include "network.h"

#include "base/fd.h"
#include "base/hex.h"
#include "base/xml.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace pelk_sim
{
namespace
{

bool named(xmlNodePtr element, const char *name)
{
    return element->type == XML_ELEMENT_NODE && xml::name_is(element, name);
}

std::string text(xmlNodePtr element, const char *name)
{
    xml::text_ptr value(xmlGetProp(element, xml::uchars(name)));
    return value ? xml::chars(value.get()) : "";
}

long long number(xmlNodePtr element, const char *name)
{
    return std::strtoll(text(element, name).c_str(), nullptr, 0);
}

address address_of(xmlNodePtr element, const char *name)
{
    radio_sockaddr parsed{};
    address out{};
    if (radio_socket_get_addr(text(element, name).c_str(), 0, &parsed))
        std::memcpy(out.data(), parsed.address, out.size());
    return out;
}

// "0x0102..." as bytes; what is not a pair of hexadecimal digits ends it.
bytes hex_bytes(const std::string &hex)
{
    bytes out;
    int byte;
    for (size_t i = 2; i + 1 < hex.size() && (byte = hex_byte(&hex[i])) >= 0; i += 2)
        out.push_back(static_cast<uint8_t>(byte));
    return out;
}

// A number as the radio stores it: most significant byte first, no leading zero bytes.
bytes int_bytes(uint32_t value)
{
    bytes out;
    do {
        out.insert(out.begin(), static_cast<uint8_t>(value));
        value >>= 8;
    } while (value);
    return out;
}

param param_of(xmlNodePtr element)
{
    param p;
    if (xmlHasProp(element, xml::uchars("int")))
        p.value = int_bytes(static_cast<uint32_t>(number(element, "int")));
    else if (xmlHasProp(element, xml::uchars("hex")))
        p.value = hex_bytes(text(element, "hex"));
    else if (xmlHasProp(element, xml::uchars("addr"))) {
        address a = address_of(element, "addr");
        p.value.assign(a.begin(), a.end());
    } else {
        std::string t = text(element, "text");
        p.value.assign(t.begin(), t.end());
    }
    std::string mode = text(element, "access");
    p.mode = mode == "ro"   ? access::read_only
             : mode == "wo" ? access::write_only
                            : access::read_write;
    return p;
}

// The param and fail children of `element` into `module`; params override what is there.
void read_radio(xmlNodePtr element, radio &module)
{
    for (xmlNodePtr child = element->children; child; child = child->next) {
        if (named(child, "param"))
            module.params[text(child, "cmd")] = param_of(child);
        else if (named(child, "fail"))
            module.failures[text(child, "cmd")] = {.code = static_cast<int>(number(child, "code")),
                                                   .zdo_status =
                                                       static_cast<int>(number(child, "status"))};
    }
}

void copy_text(char *to, size_t size, const std::string &from)
{
    std::strncpy(to, from.c_str(), size - 1);
}

radio_node_record record_of(xmlNodePtr e)
{
    radio_node_record r{};
    r.type = static_cast<int32_t>(number(e, "type"));
    address a = address_of(e, "address");
    std::memcpy(r.ext_addr, a.data(), a.size());
    r.net_addr = static_cast<uint16_t>(number(e, "net_addr"));
    r.parent_addr = static_cast<uint16_t>(number(e, "parent_addr"));
    r.profile_id = static_cast<uint16_t>(number(e, "profile_id"));
    r.mfg_id = static_cast<uint16_t>(number(e, "mfg_id"));
    r.device_type = static_cast<uint32_t>(number(e, "device_type"));
    copy_text(r.node_id, sizeof r.node_id, text(e, "node_id"));
    r.contact_time = static_cast<uint32_t>(number(e, "contact_time"));
    r.fw_status = static_cast<uint8_t>(number(e, "fw_status"));
    r.fw_tries = static_cast<uint8_t>(number(e, "fw_tries"));
    r.fw_error_code = static_cast<int32_t>(number(e, "fw_error_code"));
    r.hw_version = static_cast<uint16_t>(number(e, "hw_version"));
    r.fw_version = static_cast<uint16_t>(number(e, "fw_version"));
    a = address_of(e, "fw_updater");
    std::memcpy(r.fw_updater, a.data(), a.size());
    copy_text(r.fw_file, sizeof r.fw_file, text(e, "fw_file"));
    copy_text(r.fw_error_text, sizeof r.fw_error_text, text(e, "fw_error_text"));
    r.network_index = static_cast<uint8_t>(number(e, "network_index"));
    return r;
}

neighbour neighbour_of(xmlNodePtr e)
{
    auto byte = [&](const char *name) { return static_cast<uint8_t>(number(e, name)); };
    return {.ext_addr = address_of(e, "address"),
            .net_addr = static_cast<uint16_t>(number(e, "net_addr")),
            .type = byte("type"),
            .rx_idle = byte("rx_idle"),
            .relation = byte("relation"),
            .permit_join = byte("permit_join"),
            .depth = byte("depth"),
            .lqi = byte("lqi")};
}

// A radio of module kind `kind`: the kind's parameters, then its own element's.
radio radio_of(xmlNodePtr element, const std::map<long long, xmlNodePtr> &kinds, long long kind)
{
    radio module;
    auto found = kinds.find(kind);
    if (found != kinds.end()) read_radio(found->second, module);
    read_radio(element, module);
    return module;
}

node node_of(xmlNodePtr e, const std::map<long long, xmlNodePtr> &kinds)
{
    node n{
        .record = record_of(e), .module = radio_of(e, kinds, number(e, "kind")), .neighbours = {}};
    for (xmlNodePtr child = e->children; child; child = child->next)
        if (named(child, "neighbour")) n.neighbours.push_back(neighbour_of(child));
    return n;
}

void read_gateway(xmlNodePtr e, const std::map<long long, xmlNodePtr> &kinds, network &net)
{
    net.present = true;
    net.info.caps = static_cast<uint32_t>(number(e, "caps"));
    address a = address_of(e, "address");
    std::memcpy(net.info.address, a.data(), a.size());
    net.info.module_kind = static_cast<uint16_t>(number(e, "kind"));
    net.dual = number(e, "dual") != 0;
    net.gateway = radio_of(e, kinds, net.info.module_kind);
}

} // namespace

network load_network(const std::string &path)
{
    network net;
    xml::doc_ptr doc = xml::parse_file(path.c_str());
    xmlNodePtr root = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (!root || !named(root, "pelk_network")) return net;
    net.ext_pan_id = static_cast<uint64_t>(number(root, "ext_pan_id"));
    std::map<long long, xmlNodePtr> kinds;
    for (xmlNodePtr child = root->children; child; child = child->next)
        if (named(child, "kind")) kinds[number(child, "number")] = child;
    for (xmlNodePtr child = root->children; child; child = child->next) {
        if (named(child, "gateway"))
            read_gateway(child, kinds, net);
        else if (named(child, "node"))
            net.nodes.push_back(node_of(child, kinds));
    }
    return net;
}

namespace
{

// What tells one version of the description file from the next.
struct file_key {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec modified{}, changed{};

    bool operator==(const file_key &o) const
    {
        return device == o.device && inode == o.inode && size == o.size &&
               modified.tv_sec == o.modified.tv_sec && modified.tv_nsec == o.modified.tv_nsec &&
               changed.tv_sec == o.changed.tv_sec && changed.tv_nsec == o.changed.tv_nsec;
    }
};

file_key key_of(const std::string &path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return {};
    return {info.st_dev, info.st_ino, info.st_size, info.st_mtim, info.st_ctim};
}

constexpr const char *description_name = "pelk.xml";

std::string description_folder()
{
    const char *dir = std::getenv("VEXA_SIM_DATA");
    return dir && *dir ? dir : "/etc/vexa/sim";
}

// What a look at the description's folder tells.
enum class look { unchanged, changed, unknown };

// Tells whether the description has changed since the last look, from an inotify watch on its
// folder: while nothing happens to the file, a call costs one read that finds no event instead of
// a path lookup. Without a watch (or right after a new one) every look is unknown.
class change_watch
{
  public:
    look take_look(const std::string &folder)
    {
        if (folder != folder_) return watch(folder);
        if (fd_.get() < 0) return look::unknown;
        alignas(inotify_event) char events[4096];
        look seen = look::unchanged;
        ssize_t length;
        while ((length = read(fd_.get(), events, sizeof events)) > 0) {
            for (ssize_t at = 0; at < length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(events + at);
                if ((event->mask & (IN_Q_OVERFLOW | IN_IGNORED)) ||
                    (event->len && std::strcmp(event->name, description_name) == 0))
                    seen = look::changed;
                if (event->mask & IN_IGNORED) folder_.clear(); // the folder went away
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        return seen;
    }

  private:
    look watch(const std::string &folder)
    {
        folder_ = folder;
        fd_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        constexpr uint32_t changes = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_CREATE |
                                     IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                                     IN_MOVE_SELF;
        if (fd_.get() >= 0 && inotify_add_watch(fd_.get(), folder.c_str(), changes) < 0)
            fd_.reset(-1);
        return look::unknown;
    }

    unique_fd fd_;
    std::string folder_;
};

struct simulation {
    std::mutex lock;
    change_watch watch;
    file_key key;
    bool read = false;
    network net;
};

simulation &the_simulation()
{
    // Never destroyed: a call from another library's static destructor still finds it.
    static simulation *s = new simulation;
    return *s;
}

} // namespace

held_network::held_network()
{
    simulation &s = the_simulation();
    hold_ = std::unique_lock(s.lock);
    std::string folder = description_folder();
    look seen = s.watch.take_look(folder);
    if (seen != look::unchanged || !s.read) {
        // The file's identity decides only where no event said it changed.
        std::string path = folder + "/" + description_name;
        file_key key = key_of(path);
        if (seen == look::changed || !s.read || !(key == s.key)) {
            s.net = load_network(path);
            s.key = key;
            s.read = true;
        }
    }
    net_ = &s.net;
}

} // namespace pelk_sim
