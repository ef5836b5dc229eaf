#include "configmanager/genericsubscriber.h"

#include <utility>

namespace configmanager::serverlib {

GenericSubscriber::GenericSubscriber(systema::IConfigPublisher& a_oPublisher, std::string a_sName,
                                     Callback a_oCallback)
    : m_oPublisher(a_oPublisher),
      m_sName(std::move(a_sName)),
      m_oCallback(std::move(a_oCallback))
{
}

GenericSubscriber::~GenericSubscriber()
{
    m_oPublisher.unsubscribeAll(*this);
}

} // namespace configmanager::serverlib
