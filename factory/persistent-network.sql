PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE InterfaceMapping ( -- the network device behind each logical interface
    Id INTEGER PRIMARY KEY,
    LogicalName VARCHAR(32) NOT NULL UNIQUE,
    PhysicalName VARCHAR(16) NOT NULL DEFAULT ''
);
INSERT INTO InterfaceMapping VALUES(0,'','');
INSERT INTO InterfaceMapping VALUES(1,'LocalLAN','br0');
INSERT INTO InterfaceMapping VALUES(2,'GuestLAN','br1');
INSERT INTO InterfaceMapping VALUES(3,'ProviderInternet','ppp0');
INSERT INTO InterfaceMapping VALUES(4,'ProviderTR069','wan0.8');
INSERT INTO InterfaceMapping VALUES(5,'ProviderVoice','wan0.9');
CREATE TABLE LanBridge (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    Address VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Netmask VARCHAR(15) NOT NULL DEFAULT '255.255.255.0',
    IsIsolated INTEGER NOT NULL DEFAULT 0,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO LanBridge VALUES(0,'','0.0.0.0','255.255.255.0',0,1);
INSERT INTO LanBridge VALUES(1,'br0','192.168.1.1','255.255.255.0',0,1);
INSERT INTO LanBridge VALUES(2,'br1','192.168.179.1','255.255.255.0',1,0);
CREATE TABLE Vlan (
    Id INTEGER PRIMARY KEY,
    Tag INTEGER NOT NULL UNIQUE CHECK (Tag BETWEEN 0 AND 4094),
    Name VARCHAR(32) NOT NULL DEFAULT '',
    Priority INTEGER NOT NULL DEFAULT 0 CHECK (Priority BETWEEN 0 AND 7)
);
INSERT INTO Vlan VALUES(0,0,'untagged',0);
INSERT INTO Vlan VALUES(1,7,'internet',0);
INSERT INTO Vlan VALUES(2,8,'management',3);
INSERT INTO Vlan VALUES(3,9,'voice',5);
CREATE TABLE LanPort (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    BridgeId INTEGER NOT NULL DEFAULT 1 REFERENCES LanBridge(Id),
    VlanId INTEGER NOT NULL DEFAULT 0 REFERENCES Vlan(Id),
    SpeedMbit INTEGER UNSIGNED NOT NULL DEFAULT 1000,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO LanPort VALUES(0,'',0,0,1000,1);
INSERT INTO LanPort VALUES(1,'lan1',1,0,1000,1);
INSERT INTO LanPort VALUES(2,'lan2',1,0,1000,1);
INSERT INTO LanPort VALUES(3,'lan3',1,0,1000,1);
INSERT INTO LanPort VALUES(4,'lan4',2,0,100,0);
CREATE TABLE WanConnection (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Type VARCHAR(8) NOT NULL DEFAULT 'dhcp' CHECK (Type IN ('ppp', 'dhcp', 'static')),
    VlanId INTEGER NOT NULL DEFAULT 0 REFERENCES Vlan(Id),
    Interface VARCHAR(16) NOT NULL DEFAULT '',
    Mtu INTEGER UNSIGNED NOT NULL DEFAULT 1500 CHECK (Mtu BETWEEN 576 AND 9000),
    UsesNat INTEGER NOT NULL DEFAULT 1,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO WanConnection VALUES(0,'','dhcp',0,'',1500,1,0);
INSERT INTO WanConnection VALUES(1,'internet','ppp',1,'ppp0',1492,1,1);
INSERT INTO WanConnection VALUES(2,'management','dhcp',2,'wan0.8',1500,0,1);
INSERT INTO WanConnection VALUES(3,'voice','dhcp',3,'wan0.9',1500,0,1);
CREATE TABLE PppAccount (
    Id INTEGER PRIMARY KEY,
    WanConnectionId INTEGER NOT NULL UNIQUE REFERENCES WanConnection(Id) ON DELETE CASCADE,
    UserName TEXT NOT NULL DEFAULT '',
    Password TEXT NOT NULL DEFAULT '',
    ServiceName TEXT NOT NULL DEFAULT '',
    IdleSeconds INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO PppAccount VALUES(0,0,'','','',0);
INSERT INTO PppAccount VALUES(1,1,'004711@isp.example','sunrise-42','',0);
CREATE TABLE DslLine (
    Id INTEGER PRIMARY KEY,
    Profile VARCHAR(16) NOT NULL DEFAULT 'auto',
    Annex VARCHAR(2) NOT NULL DEFAULT 'B',
    TargetMarginTenthDb INTEGER NOT NULL DEFAULT 60,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO DslLine VALUES(0,'auto','B',60,0);
INSERT INTO DslLine VALUES(1,'17a','B',60,1);
CREATE TABLE DhcpClientConfig (
    Id INTEGER PRIMARY KEY,
    Interface VARCHAR(16) NOT NULL UNIQUE,
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    HostName VARCHAR(63) NOT NULL DEFAULT '',
    VendorClass TEXT NOT NULL DEFAULT '',
    RequestedOptions TEXT NOT NULL DEFAULT '1,3,6,15,43',
    ACSURL TEXT NOT NULL DEFAULT ''
);
INSERT INTO DhcpClientConfig VALUES(0,'',0,'','','1,3,6,15,43','');
INSERT INTO DhcpClientConfig VALUES(1,'wan0.8',1,'gateway','gateway.example.net','1,3,6,15,43','');
INSERT INTO DhcpClientConfig VALUES(2,'wan0.9',1,'gateway','voice.example.net','1,3,6,120','');
CREATE TABLE DhcpServerConfig (
    Id INTEGER PRIMARY KEY,
    Interface VARCHAR(16) NOT NULL UNIQUE,
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    RangeStart VARCHAR(15) NOT NULL DEFAULT '',
    RangeEnd VARCHAR(15) NOT NULL DEFAULT '',
    LeaseSeconds INTEGER UNSIGNED NOT NULL DEFAULT 86400,
    Domain TEXT NOT NULL DEFAULT 'home.arpa'
);
INSERT INTO DhcpServerConfig VALUES(0,'',0,'','',86400,'home.arpa');
INSERT INTO DhcpServerConfig VALUES(1,'br0',1,'192.168.1.100','192.168.1.199',86400,'home.arpa');
INSERT INTO DhcpServerConfig VALUES(2,'br1',0,'192.168.179.100','192.168.179.199',3600,'guest.home.arpa');
CREATE TABLE DhcpStaticLease (
    Id INTEGER PRIMARY KEY,
    MacAddress VARCHAR(17) NOT NULL UNIQUE,
    IpAddress VARCHAR(15) NOT NULL UNIQUE,
    HostName VARCHAR(63) NOT NULL DEFAULT ''
);
INSERT INTO DhcpStaticLease VALUES(0,'','','');
INSERT INTO DhcpStaticLease VALUES(1,'02:00:5e:10:00:20','192.168.1.20','desk');
INSERT INTO DhcpStaticLease VALUES(2,'02:00:5e:10:00:21','192.168.1.21','printer');
INSERT INTO DhcpStaticLease VALUES(3,'02:00:5e:10:00:22','192.168.1.22','O''Neil''s laptop');
CREATE TABLE DhcpOption (
    Id INTEGER PRIMARY KEY,
    DhcpServerId INTEGER NOT NULL REFERENCES DhcpServerConfig(Id) ON DELETE CASCADE,
    Code INTEGER NOT NULL CHECK (Code BETWEEN 1 AND 254),
    Content TEXT,
    UNIQUE (DhcpServerId, Code)
);
INSERT INTO DhcpOption VALUES(1,1,42,'192.168.1.1');
INSERT INTO DhcpOption VALUES(2,1,252,NULL);
CREATE TABLE DnsServer (
    Id INTEGER PRIMARY KEY,
    Address VARCHAR(45) NOT NULL UNIQUE,
    Interface VARCHAR(16) NOT NULL DEFAULT '',
    Rank INTEGER NOT NULL DEFAULT 10
);
INSERT INTO DnsServer VALUES(0,'','',10);
INSERT INTO DnsServer VALUES(1,'192.0.2.53','ppp0',10);
INSERT INTO DnsServer VALUES(2,'198.51.100.53','ppp0',20);
INSERT INTO DnsServer VALUES(3,'2001:db8::53','ppp0',10);
CREATE TABLE DnsHost (
    Id INTEGER PRIMARY KEY,
    HostName VARCHAR(255) NOT NULL,
    Address VARCHAR(45) NOT NULL,
    UNIQUE (HostName, Address)
);
INSERT INTO DnsHost VALUES(0,'','');
INSERT INTO DnsHost VALUES(1,'gateway.home.arpa','192.168.1.1');
INSERT INTO DnsHost VALUES(2,'printer.home.arpa','192.168.1.21');
CREATE TABLE DynamicDnsConfig (
    Id INTEGER PRIMARY KEY,
    Provider VARCHAR(32) NOT NULL DEFAULT '',
    HostName VARCHAR(255) NOT NULL DEFAULT '',
    UserName TEXT NOT NULL DEFAULT '',
    Password TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 0
);
INSERT INTO DynamicDnsConfig VALUES(0,'','','','',0);
INSERT INTO DynamicDnsConfig VALUES(1,'custom','house.dyn.example.org','house','',0);
CREATE TABLE IPv6Config (
    Id INTEGER PRIMARY KEY,
    Interface VARCHAR(16) NOT NULL UNIQUE,
    Mode VARCHAR(16) NOT NULL DEFAULT 'off' CHECK (Mode IN ('off', 'native', 'tunnel', 'static')),
    Prefix VARCHAR(45) NOT NULL DEFAULT '',
    PrefixLength INTEGER NOT NULL DEFAULT 64 CHECK (PrefixLength BETWEEN 0 AND 128),
    DelegatesPrefix INTEGER NOT NULL DEFAULT 1
);
INSERT INTO IPv6Config VALUES(0,'','off','',64,1);
INSERT INTO IPv6Config VALUES(1,'ppp0','native','',56,1);
INSERT INTO IPv6Config VALUES(2,'br0','native','2001:db8:40:7::',64,0);
CREATE TABLE StaticRoute (
    Id INTEGER PRIMARY KEY,
    Destination VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Netmask VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Gateway VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Interface VARCHAR(16) NOT NULL DEFAULT '',
    Metric INTEGER UNSIGNED NOT NULL DEFAULT 0,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO StaticRoute VALUES(0,'0.0.0.0','0.0.0.0','0.0.0.0','',0,0);
INSERT INTO StaticRoute VALUES(1,'10.20.0.0','255.255.0.0','192.168.1.2','br0',10,1);
INSERT INTO StaticRoute VALUES(2,'10.64.0.0','255.192.0.0','10.64.0.1','wan0.8',0,1);
CREATE TABLE FirewallZones (
    Id INTEGER PRIMARY KEY,
    ZoneName VARCHAR(16) NOT NULL UNIQUE,
    DefaultPolicy VARCHAR(8) NOT NULL DEFAULT 'DROP' CHECK (DefaultPolicy IN ('ACCEPT', 'DROP', 'REJECT')),
    Interfaces TEXT NOT NULL DEFAULT ''
);
INSERT INTO FirewallZones VALUES(0,'','DROP','');
INSERT INTO FirewallZones VALUES(1,'lan','ACCEPT','br0');
INSERT INTO FirewallZones VALUES(2,'guest','DROP','br1');
INSERT INTO FirewallZones VALUES(3,'wan','DROP','ppp0 wan0.8 wan0.9');
CREATE TABLE FirewallRule (
    Id INTEGER PRIMARY KEY,
    ZoneId INTEGER NOT NULL REFERENCES FirewallZones(Id) ON DELETE CASCADE,
    Position INTEGER NOT NULL DEFAULT 0,
    Protocol VARCHAR(8) NOT NULL DEFAULT 'any',
    SourceAddress VARCHAR(49) NOT NULL DEFAULT '',
    DestinationPort INTEGER UNSIGNED,
    Policy VARCHAR(8) NOT NULL DEFAULT 'DROP',
    Comment TEXT NOT NULL DEFAULT ''
);
INSERT INTO FirewallRule VALUES(0,0,0,'any','',NULL,'DROP','');
INSERT INTO FirewallRule VALUES(1,2,10,'udp','',53,'ACCEPT','name service for guests');
INSERT INTO FirewallRule VALUES(2,2,20,'udp','',67,'ACCEPT','addresses for guests');
INSERT INTO FirewallRule VALUES(3,3,10,'icmp','',NULL,'ACCEPT','ping');
INSERT INTO FirewallRule VALUES(4,3,20,'tcp','10.64.0.0/10',7547,'ACCEPT','connection request of the management server');
CREATE TABLE PortForwarding (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL DEFAULT '',
    Protocol VARCHAR(3) NOT NULL DEFAULT 'tcp' CHECK (Protocol IN ('tcp', 'udp')),
    ExternalPort INTEGER UNSIGNED NOT NULL DEFAULT 0 CHECK (ExternalPort <= 65535),
    InternalAddress VARCHAR(15) NOT NULL DEFAULT '',
    InternalPort INTEGER UNSIGNED NOT NULL DEFAULT 0 CHECK (InternalPort <= 65535),
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    UNIQUE (Protocol, ExternalPort)
);
INSERT INTO PortForwarding VALUES(0,'','tcp',0,'',0,1);
INSERT INTO PortForwarding VALUES(1,'web server','tcp',8443,'192.168.1.20',443,1);
INSERT INTO PortForwarding VALUES(2,'game','udp',27015,'192.168.1.20',27015,0);
CREATE TABLE QosClass (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Dscp INTEGER NOT NULL DEFAULT 0 CHECK (Dscp BETWEEN 0 AND 63),
    SharePercent INTEGER NOT NULL DEFAULT 0
);
INSERT INTO QosClass VALUES(0,'',0,0);
INSERT INTO QosClass VALUES(1,'voice',46,20);
INSERT INTO QosClass VALUES(2,'video',34,40);
INSERT INTO QosClass VALUES(3,'best effort',0,40);
CREATE TABLE WlanRadio (
    Id INTEGER PRIMARY KEY,
    Interface VARCHAR(16) NOT NULL UNIQUE,
    Band VARCHAR(8) NOT NULL DEFAULT '2.4 GHz',
    Channel INTEGER NOT NULL DEFAULT 0,
    WidthMhz INTEGER UNSIGNED NOT NULL DEFAULT 20,
    PowerPercent INTEGER NOT NULL DEFAULT 100 CHECK (PowerPercent BETWEEN 0 AND 100),
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO WlanRadio VALUES(0,'','2.4 GHz',0,20,100,0);
INSERT INTO WlanRadio VALUES(1,'wlan0','2.4 GHz',6,20,100,1);
INSERT INTO WlanRadio VALUES(2,'wlan1','5 GHz',0,80,100,1);
CREATE TABLE WlanNetwork (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    RadioId INTEGER NOT NULL DEFAULT 0 REFERENCES WlanRadio(Id),
    Ssid VARCHAR(32) NOT NULL DEFAULT '',
    Security VARCHAR(16) NOT NULL DEFAULT 'wpa2-psk',
    Passphrase TEXT NOT NULL DEFAULT '',
    Bridge VARCHAR(16) NOT NULL DEFAULT 'br0',
    IsHidden INTEGER NOT NULL DEFAULT 0,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO WlanNetwork VALUES(0,'',0,'','wpa2-psk','','br0',0,0);
INSERT INTO WlanNetwork VALUES(1,'home',1,'Harbour Lane 7','wpa2-psk','','br0',0,1);
INSERT INTO WlanNetwork VALUES(2,'home-5',2,'Harbour Lane 7','wpa3-sae','','br0',0,1);
INSERT INTO WlanNetwork VALUES(3,'guest',1,'Harbour Lane Guests','wpa2-psk','come-in-friend','br1',0,0);
CREATE TABLE WlanMacFilter (
    Id INTEGER PRIMARY KEY,
    NetworkId INTEGER NOT NULL REFERENCES WlanNetwork(Id) ON DELETE CASCADE,
    MacAddress VARCHAR(17) NOT NULL,
    IsAllowed INTEGER NOT NULL DEFAULT 1,
    UNIQUE (NetworkId, MacAddress)
);
INSERT INTO WlanMacFilter VALUES(1,1,'02:00:5e:10:00:66',0);
CREATE INDEX FirewallRuleOrder ON FirewallRule(ZoneId, Position);
CREATE INDEX PortForwardingAddress ON PortForwarding(InternalAddress);
CREATE INDEX LanPortVlanId ON LanPort(VlanId);
CREATE INDEX LanPortBridgeId ON LanPort(BridgeId);
CREATE INDEX WanConnectionVlanId ON WanConnection(VlanId);
CREATE INDEX WlanNetworkRadioId ON WlanNetwork(RadioId);
CREATE TRIGGER LanBridgeUpdate BEFORE UPDATE OF Address, Netmask ON LanBridge BEGIN
    SELECT RAISE(ABORT, 'Address or Netmask is no IPv4 address')
        FROM (SELECT NEW.Address AS a UNION ALL SELECT NEW.Netmask)
        WHERE a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
        OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
        OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*';
    SELECT RAISE(ABORT, 'Netmask is no netmask') FROM (SELECT NEW.Netmask AS a)
        WHERE a GLOB '*[^5].255*' OR '.' || a GLOB '*.0.[1-9]*'
        OR replace(replace('.' || a, '.255', ''), '.0', '')
            NOT IN ('', '.128', '.192', '.224', '.240', '.248', '.252', '.254');
END;
CREATE TRIGGER LanBridgeInsert AFTER INSERT ON LanBridge BEGIN
    UPDATE LanBridge SET Address = Address, Netmask = Netmask
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER DhcpServerConfigUpdate BEFORE UPDATE OF RangeStart, RangeEnd ON DhcpServerConfig BEGIN
    SELECT RAISE(ABORT, 'RangeStart or RangeEnd is no IPv4 address')
        FROM (SELECT NEW.RangeStart AS a UNION ALL SELECT NEW.RangeEnd)
        WHERE a <> '' AND (
            a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
            OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
            OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*');
END;
CREATE TRIGGER DhcpServerConfigInsert AFTER INSERT ON DhcpServerConfig BEGIN
    UPDATE DhcpServerConfig SET RangeStart = RangeStart, RangeEnd = RangeEnd
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER DhcpStaticLeaseUpdate BEFORE UPDATE OF MacAddress, IpAddress ON DhcpStaticLease BEGIN
    SELECT RAISE(ABORT, 'MacAddress is no MAC address') FROM (SELECT NEW.MacAddress AS a)
        WHERE a NOT GLOB '??:??:??:??:??:??' OR length(replace(a, ':', '')) <> 12
        OR a GLOB '*[^:0-9A-Fa-f]*';
    SELECT RAISE(ABORT, 'IpAddress is no IPv4 address')
        FROM (SELECT NEW.IpAddress AS a)
        WHERE a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
        OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
        OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*';
END;
CREATE TRIGGER DhcpStaticLeaseInsert AFTER INSERT ON DhcpStaticLease BEGIN
    UPDATE DhcpStaticLease SET MacAddress = MacAddress, IpAddress = IpAddress
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER DnsServerUpdate BEFORE UPDATE OF Address ON DnsServer BEGIN
    SELECT RAISE(ABORT, 'Address is no IP address')
        FROM (SELECT NEW.Address AS a)
        WHERE a GLOB '*:*' AND (a NOT GLOB '*:*:*' OR a GLOB '*[^:.0-9A-Fa-f]*')
        OR a NOT GLOB '*:*' AND (
            a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
            OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
            OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*');
END;
CREATE TRIGGER DnsServerInsert AFTER INSERT ON DnsServer BEGIN
    UPDATE DnsServer SET Address = Address
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER DnsHostUpdate BEFORE UPDATE OF Address ON DnsHost BEGIN
    SELECT RAISE(ABORT, 'Address is no IP address')
        FROM (SELECT NEW.Address AS a)
        WHERE a GLOB '*:*' AND (a NOT GLOB '*:*:*' OR a GLOB '*[^:.0-9A-Fa-f]*')
        OR a NOT GLOB '*:*' AND (
            a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
            OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
            OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*');
END;
CREATE TRIGGER DnsHostInsert AFTER INSERT ON DnsHost BEGIN
    UPDATE DnsHost SET Address = Address
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER IPv6ConfigUpdate BEFORE UPDATE OF Prefix ON IPv6Config BEGIN
    SELECT RAISE(ABORT, 'Prefix is no IPv6 prefix')
        WHERE NEW.Prefix <> '' AND (NEW.Prefix NOT GLOB '*:*:*' OR NEW.Prefix GLOB '*[^:.0-9A-Fa-f]*');
END;
CREATE TRIGGER IPv6ConfigInsert AFTER INSERT ON IPv6Config BEGIN
    UPDATE IPv6Config SET Prefix = Prefix
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER StaticRouteUpdate BEFORE UPDATE OF Destination, Netmask, Gateway ON StaticRoute BEGIN
    SELECT RAISE(ABORT, 'Destination, Netmask or Gateway is no IPv4 address')
        FROM (SELECT NEW.Destination AS a UNION ALL SELECT NEW.Netmask UNION ALL SELECT NEW.Gateway)
        WHERE a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
        OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
        OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*';
    SELECT RAISE(ABORT, 'Netmask is no netmask') FROM (SELECT NEW.Netmask AS a)
        WHERE a GLOB '*[^5].255*' OR '.' || a GLOB '*.0.[1-9]*'
        OR replace(replace('.' || a, '.255', ''), '.0', '')
            NOT IN ('', '.128', '.192', '.224', '.240', '.248', '.252', '.254');
END;
CREATE TRIGGER StaticRouteInsert AFTER INSERT ON StaticRoute BEGIN
    UPDATE StaticRoute SET Destination = Destination, Netmask = Netmask, Gateway = Gateway
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER FirewallRuleUpdate BEFORE UPDATE OF DestinationPort ON FirewallRule BEGIN
    SELECT RAISE(ABORT, 'DestinationPort is no port') WHERE NEW.DestinationPort NOT BETWEEN 0 AND 65535;
END;
CREATE TRIGGER FirewallRuleInsert AFTER INSERT ON FirewallRule BEGIN
    UPDATE FirewallRule SET DestinationPort = DestinationPort
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER PortForwardingUpdate BEFORE UPDATE OF ExternalPort, InternalAddress, InternalPort ON PortForwarding BEGIN
    SELECT RAISE(ABORT, 'ExternalPort is no port') WHERE NEW.ExternalPort NOT BETWEEN 0 AND 65535;
    SELECT RAISE(ABORT, 'InternalAddress is no IPv4 address')
        FROM (SELECT NEW.InternalAddress AS a)
        WHERE a <> '' AND (
            a NOT GLOB '[0-9]*.[0-9]*.[0-9]*.[0-9]*' OR a GLOB '*[^.0-9]*' OR a GLOB '*.*.*.*.*'
            OR a GLOB '*[0-9][0-9][0-9][0-9]*' OR a GLOB '*[3-9][0-9][0-9]*' OR a GLOB '*2[6-9][0-9]*'
            OR a GLOB '*25[6-9]*' OR '.' || a GLOB '*.0[0-9]*');
    SELECT RAISE(ABORT, 'InternalPort is no port') WHERE NEW.InternalPort NOT BETWEEN 0 AND 65535;
END;
CREATE TRIGGER PortForwardingInsert AFTER INSERT ON PortForwarding BEGIN
    UPDATE PortForwarding SET ExternalPort = ExternalPort, InternalAddress = InternalAddress, InternalPort = InternalPort
        WHERE Id = NEW.Id;
END;
CREATE TRIGGER WlanMacFilterUpdate BEFORE UPDATE OF MacAddress ON WlanMacFilter BEGIN
    SELECT RAISE(ABORT, 'MacAddress is no MAC address') FROM (SELECT NEW.MacAddress AS a)
        WHERE a NOT GLOB '??:??:??:??:??:??' OR length(replace(a, ':', '')) <> 12
        OR a GLOB '*[^:0-9A-Fa-f]*';
END;
CREATE TRIGGER WlanMacFilterInsert AFTER INSERT ON WlanMacFilter BEGIN
    UPDATE WlanMacFilter SET MacAddress = MacAddress
        WHERE Id = NEW.Id;
END;
COMMIT;
