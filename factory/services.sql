PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE Service (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Command TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    Restarts INTEGER UNSIGNED NOT NULL DEFAULT 3,
    Nice INTEGER NOT NULL DEFAULT 0 CHECK (Nice BETWEEN -20 AND 19)
);
INSERT INTO Service VALUES(0,'','',0,3,0);
INSERT INTO Service VALUES(1,'network','/usr/sbin/netconfd',1,3,0);
INSERT INTO Service VALUES(2,'dhcp-dns','/usr/sbin/dnsmasq',1,3,0);
INSERT INTO Service VALUES(3,'time','/usr/sbin/timed',1,3,0);
INSERT INTO Service VALUES(4,'phone','/usr/sbin/voiced',1,3,-10);
INSERT INTO Service VALUES(5,'web','/usr/sbin/webd',1,3,5);
INSERT INTO Service VALUES(6,'management','/usr/sbin/managementd',1,3,5);
INSERT INTO Service VALUES(7,'ssh','/usr/sbin/sshd',0,0,0);
CREATE TABLE ServiceDependency (
    Id INTEGER PRIMARY KEY,
    ServiceId INTEGER NOT NULL REFERENCES Service(Id) ON DELETE CASCADE,
    NeedsId INTEGER NOT NULL REFERENCES Service(Id) ON DELETE CASCADE,
    UNIQUE (ServiceId, NeedsId)
);
INSERT INTO ServiceDependency VALUES(1,2,1);
INSERT INTO ServiceDependency VALUES(2,3,1);
INSERT INTO ServiceDependency VALUES(3,4,1);
INSERT INTO ServiceDependency VALUES(4,4,3);
INSERT INTO ServiceDependency VALUES(5,6,1);
CREATE TABLE ScheduledTask (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Schedule VARCHAR(32) NOT NULL DEFAULT '0 3 * * *',
    Command TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    LastRunAt INTEGER UNSIGNED
);
INSERT INTO ScheduledTask VALUES(0,'','0 3 * * *','',0,NULL);
INSERT INTO ScheduledTask VALUES(1,'look for updates','30 2 * * *','update-check',1,1699925400);
INSERT INTO ScheduledTask VALUES(2,'wireless off','0 23 * * *','wlan-switch off',0,NULL);
INSERT INTO ScheduledTask VALUES(3,'wireless on','0 6 * * *','wlan-switch on',0,NULL);
CREATE INDEX ServiceDependencyNeedsId ON ServiceDependency(NeedsId);
COMMIT;
