' Shows the day's notes, and a banner above them.
Option Explicit
Dim monthNames, bannerAddress
monthNames = Array("January", "February", "March", "April", "May", "June", _
                   "July", "August", "September", "October", "November", "December")
bannerAddress = "http://ads.werbenetz.example/banner/calendar.gif"

Function DayTitle(when)
  DayTitle = Day(when) & " " & monthNames(Month(when) - 1) & " " & Year(when)
End Function

Sub Window_OnLoad()
  document.write "<img src=""" & bannerAddress & """ width=""468"" height=""60"">"
  document.write "<h2>" & DayTitle(Date) & "</h2>"
  If Hour(Now) < 12 Then
    MsgBox "Good morning!", vbInformation, "Calendar"
  End If
End Sub
