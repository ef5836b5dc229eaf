PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE StatusNetifConfig ( -- the network devices whose status is watched
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    Description TEXT
);
INSERT INTO StatusNetifConfig VALUES(1,'br0','home network');
INSERT INTO StatusNetifConfig VALUES(2,'br1','guest network');
INSERT INTO StatusNetifConfig VALUES(3,'eth0','switch uplink');
INSERT INTO StatusNetifConfig VALUES(4,'wan0','fibre port');
INSERT INTO StatusNetifConfig VALUES(5,'ppp0','internet');
INSERT INTO StatusNetifConfig VALUES(6,'wan0.8','management');
INSERT INTO StatusNetifConfig VALUES(7,'lo','loopback');
CREATE TABLE DhcpClientLease ( -- what the provider's DHCP servers gave us
    Id INTEGER PRIMARY KEY,
    Interface VARCHAR(16) NOT NULL UNIQUE,
    Address VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Netmask VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    Gateway VARCHAR(15) NOT NULL DEFAULT '0.0.0.0',
    DnsServers TEXT NOT NULL DEFAULT '',
    LeaseSeconds INTEGER UNSIGNED NOT NULL DEFAULT 0,
    ObtainedAt INTEGER UNSIGNED
);
INSERT INTO DhcpClientLease VALUES(0,'','0.0.0.0','0.0.0.0','0.0.0.0','',0,NULL);
INSERT INTO DhcpClientLease VALUES(1,'wan0.8','10.64.3.17','255.255.240.0','10.64.0.1','10.64.0.53 10.64.1.53',86400,1700000000);
CREATE TABLE WebSession (
    Id INTEGER PRIMARY KEY,
    Token VARCHAR(64) NOT NULL UNIQUE,
    UserName VARCHAR(32) NOT NULL DEFAULT '',
    RemoteAddress VARCHAR(45) NOT NULL DEFAULT '',
    LoginAt INTEGER UNSIGNED NOT NULL DEFAULT 0,
    LastSeenAt INTEGER UNSIGNED NOT NULL DEFAULT 0,
    IsSecure INTEGER NOT NULL DEFAULT 0
);
INSERT INTO WebSession VALUES(0,'','','',0,0,0);
INSERT INTO WebSession VALUES(1,'5f1d3c90a7be4e62','admin','192.168.1.20',1700000120,1700000478,1);
CREATE TABLE LoginFailure (
    Id INTEGER PRIMARY KEY,
    RemoteAddress VARCHAR(45) NOT NULL UNIQUE,
    Failures INTEGER UNSIGNED NOT NULL DEFAULT 0,
    BlockedUntil INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO LoginFailure VALUES(0,'',0,0);
CREATE TABLE CallState (
    Id INTEGER PRIMARY KEY,
    LineName VARCHAR(16) NOT NULL UNIQUE,
    State VARCHAR(16) NOT NULL DEFAULT 'idle' CHECK (State IN ('idle', 'dialing', 'ringing', 'talking')),
    Peer TEXT NOT NULL DEFAULT '',
    Since INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO CallState VALUES(0,'','idle','',0);
INSERT INTO CallState VALUES(1,'FXS1','talking','+4930901820',1700000301);
INSERT INTO CallState VALUES(2,'FXS2','idle','',0);
CREATE TABLE UpdateState ( -- the firmware update under way, if there is one
    Id INTEGER PRIMARY KEY,
    State VARCHAR(16) NOT NULL DEFAULT 'idle',
    Version VARCHAR(32),
    Percent INTEGER NOT NULL DEFAULT 0 CHECK (Percent BETWEEN 0 AND 100),
    LastError TEXT
);
INSERT INTO UpdateState VALUES(1,'idle',NULL,0,NULL);
COMMIT;
