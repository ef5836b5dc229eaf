PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE TR069ACS ( -- the management server; ACSDiscovery 1: its address was learned by DHCP
    Id INTEGER PRIMARY KEY,
    ACSURL TEXT NOT NULL DEFAULT '',
    ACSDiscovery INTEGER NOT NULL DEFAULT 0,
    Username TEXT NOT NULL DEFAULT '',
    Password TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    PeriodicInformEnable INTEGER NOT NULL DEFAULT 1,
    PeriodicInformSeconds INTEGER UNSIGNED NOT NULL DEFAULT 86400
);
INSERT INTO TR069ACS VALUES(0,'',0,'','',0,1,86400);
INSERT INTO TR069ACS VALUES(1,'',1,'','',1,1,43200);
CREATE TABLE TR069Parameter ( -- a parameter of the data model and the column that holds it
    Id INTEGER PRIMARY KEY,
    Name TEXT NOT NULL UNIQUE,
    Type VARCHAR(16) NOT NULL DEFAULT 'string',
    IsWritable INTEGER NOT NULL DEFAULT 0,
    Notification INTEGER NOT NULL DEFAULT 0 CHECK (Notification BETWEEN 0 AND 2),
    SourceTable TEXT NOT NULL DEFAULT '',
    SourceColumn TEXT NOT NULL DEFAULT '',
    SourceId INTEGER
);
INSERT INTO TR069Parameter VALUES(0,'','string',0,0,'','',NULL);
INSERT INTO TR069Parameter VALUES(1,'Device.DeviceInfo.SerialNumber','string',0,0,'SystemSettings','SerialNumber',1);
INSERT INTO TR069Parameter VALUES(2,'Device.ManagementServer.URL','string',1,2,'TR069ACS','ACSURL',1);
INSERT INTO TR069Parameter VALUES(3,'Device.ManagementServer.PeriodicInformInterval','unsignedInt',1,0,'TR069ACS','PeriodicInformSeconds',1);
INSERT INTO TR069Parameter VALUES(4,'Device.WiFi.SSID.1.SSID','string',1,1,'WlanNetwork','Ssid',1);
INSERT INTO TR069Parameter VALUES(5,'Device.Time.NTPServer1','string',1,0,'NtpServer','Address',1);
CREATE TABLE TR069Event ( -- events that the next inform has to carry
    Id INTEGER PRIMARY KEY,
    EventCode VARCHAR(32) NOT NULL,
    CommandKey VARCHAR(32) NOT NULL DEFAULT '',
    RaisedAt INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO TR069Event VALUES(1,'1 BOOT','',1700000000);
CREATE TABLE TR069Transfer (
    Id INTEGER PRIMARY KEY,
    FileType VARCHAR(64) NOT NULL DEFAULT '',
    Url TEXT NOT NULL DEFAULT '',
    CommandKey VARCHAR(32) NOT NULL DEFAULT '',
    State VARCHAR(16) NOT NULL DEFAULT 'queued',
    FaultCode INTEGER UNSIGNED
);
INSERT INTO TR069Transfer VALUES(0,'','','','queued',NULL);
CREATE INDEX TR069ParameterSource ON TR069Parameter(SourceTable, SourceColumn);
COMMIT;
