-- The same sums by the shell of SQLite: the file is imported, the tables are made by queries.
.mode csv
.import edges.csv t
PRAGMA synchronous = OFF;
CREATE TABLE edges AS
SELECT FromSourceFile, FromFunctionMangled, FromAddress, DestinationEndOfBlockAddress,
       min(FromSourceLine) AS line, sum(HitCount) AS hits
FROM t WHERE FromFunctionMangled = DestinationFunctionMangled GROUP BY 1, 2, 3, 4;
CREATE TABLE calls AS
SELECT FromSourceFile, FromFunctionMangled, FromSourceLine, DestinationFunctionMangled,
       sum(HitCount) AS hits
FROM t WHERE FromFunctionMangled <> DestinationFunctionMangled
         AND TypeOfBranch IN ('Call', 'IndCall', 'Jump', 'IndJump') GROUP BY 1, 2, 3, 4;
DROP TABLE t;
