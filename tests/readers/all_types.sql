-- A table with every column type, its extremes and Null, and long values of every kind of storage.
CREATE TABLE all_types (
  id COUNTER NOT NULL, yes_no BIT, small BYTE, short_int SHORT, long_int LONG, money CURRENCY, one SINGLE, two DOUBLE,
  moment DATETIME, bits VARBINARY(20), short_text TEXT(255), fixed_text CHAR(10), long_text MEMO, object OLEOBJECT,
  uid GUID, exact DECIMAL(18,4), CONSTRAINT pk_all_types PRIMARY KEY (id));
CREATE INDEX ix_text ON all_types (short_text DESC, long_int);
CREATE UNIQUE INDEX ix_money ON all_types (money, two);
INSERT INTO all_types (yes_no, small, short_int, long_int, money, one, two, moment, short_text, fixed_text, long_text, exact)
  VALUES (True, 255, -32768, 2147483647, 922337203685477.5807, 1.5, 0.1, #12/31/1999 23:59:58#, 'plain', 'abc', 'short memo', -12345.6789);
INSERT INTO all_types (yes_no, small, short_int, long_int, money, one, two, moment, short_text, fixed_text, long_text, exact)
  VALUES (False, 0, 32767, -2147483648, -0.0001, -3.25, 1E300, #1/1/1900#, 'Ærø Straße 東京 Ω', 'x', 'Ærø Straße 東京', 0.0001);
INSERT INTO all_types (money, two) VALUES (0, 0);
INSERT INTO all_types (money, two, short_text, long_text) VALUES (1, 1, '', '');
INSERT INTO all_types (money, two, uid) VALUES (2, 2, '{01234567-89AB-CDEF-0123-456789ABCDEF}');
INSERT INTO all_types (money, two, long_text, short_text) SELECT 3, 3, string(3000, 'm'), string(255, 't') FROM all_types WHERE id = 1;
INSERT INTO all_types (money, two, long_text) SELECT 4, 4, string(100000, 'k') FROM all_types WHERE id = 1;
INSERT INTO all_types (money, two, long_text) SELECT 5, 5, string(9000, 'Ω') FROM all_types WHERE id = 1;
UPDATE all_types SET long_text = string(20000, 'u') WHERE id = 1;
