// The generated proxies. They are not written for our warnings.
#pragma once

#pragma GCC system_header

#include "com.kestrane.network.DomainNameServer_proxy.h"
#include "com.kestrane.network.IPv4Address_proxy.h"
#include "com.kestrane.network.IPv4Neighbour_proxy.h"
#include "com.kestrane.network.IPv4Route_proxy.h"
#include "com.kestrane.network.IPv6Address_proxy.h"
#include "com.kestrane.network.IPv6Route_proxy.h"
#include "com.kestrane.network.InterfaceStatus_proxy.h"
#include "uk.org.thekelleys.dnsmasq_proxy.h"

using DnsmasqProxy = uk::org::thekelleys::dnsmasq_proxy;
