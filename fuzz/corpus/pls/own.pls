[playlist]
File1=a.mp3
File2=http://r/x
NumberOfEntries=2
Version=2
