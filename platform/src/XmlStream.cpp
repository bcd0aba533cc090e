#include "qx_platform/XmlStream.h"

#include <expat.h>

#include <exception>

namespace qxp {

struct XmlStreamParser::Impl {
    XML_Parser parser = nullptr;
    XmlStreamHandler* handler = nullptr;
    std::exception_ptr handlerError;

    ~Impl() {
        if (parser != nullptr) XML_ParserFree(parser);
    }

    // No exception may cross expat's C frames: keep it and stop the parser instead.
    template <class F>
    static void Call(void* data, F&& f) {
        auto* impl = static_cast<Impl*>(data);
        if (impl->handlerError) return;
        try {
            f(*impl->handler);
        } catch (...) {
            impl->handlerError = std::current_exception();
            XML_StopParser(impl->parser, XML_FALSE);
        }
    }
    static void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attrs) {
        Call(data, [&](XmlStreamHandler& h) { h.OnStart(name, attrs); });
    }
    static void XMLCALL OnEnd(void* data, const XML_Char* name) {
        Call(data, [&](XmlStreamHandler& h) { h.OnEnd(name); });
    }
};

XmlStreamParser::XmlStreamParser() : impl_(new Impl) {}
XmlStreamParser::~XmlStreamParser() = default;

bool XmlStreamParser::Create(XmlStreamHandler* handler) {
    if (impl_->parser != nullptr) XML_ParserFree(impl_->parser);
    impl_->parser = XML_ParserCreate(nullptr);
    if (impl_->parser == nullptr) return false;
    impl_->handler = handler;
    XML_SetElementHandler(impl_->parser, &Impl::OnStart, &Impl::OnEnd);
    XML_SetUserData(impl_->parser, impl_.get());
    return true;
}

bool XmlStreamParser::Feed(const char* data, std::size_t len, bool final) {
    if (impl_->parser == nullptr) return false;
    const XML_Status status =
        XML_Parse(impl_->parser, data, static_cast<int>(len), final ? XML_TRUE : XML_FALSE);
    if (impl_->handlerError) {
        std::exception_ptr error = impl_->handlerError;
        impl_->handlerError = nullptr;
        std::rethrow_exception(error);
    }
    return status != XML_STATUS_ERROR;
}

const char* XmlStreamParser::ErrorText() const {
    if (impl_->parser == nullptr) return "";
    const char* text = XML_ErrorString(XML_GetErrorCode(impl_->parser));
    return text != nullptr ? text : "";
}

unsigned long XmlStreamParser::ErrorLine() const {
    return impl_->parser != nullptr ? XML_GetCurrentLineNumber(impl_->parser) : 0;
}

unsigned long XmlStreamParser::ErrorColumn() const {
    return impl_->parser != nullptr ? XML_GetCurrentColumnNumber(impl_->parser) + 1 : 0;
}

}  // namespace qxp
